// What the person asked for on the command line, as a value.
#pragma once

#include "companion/configs/Clients.h"
#include "kit/tools/MCPConfirmationLogic.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vostel_companion {

/// What the program exits with, whatever the verb. An interrupted one ends by the signal instead.
enum class Exit : int {
    done = 0,
    /// The request was understood and not fulfilled: there is no such thing, or it cannot be done as things are.
    notAsAsked = 1,
    /// Something that should work did not, or the command line makes no sense.
    failed = 2,
};

struct Command {
    struct Serve {
        bool operator==(const Serve&) const = default;
    };
    struct ListPending {
        bool operator==(const ListPending&) const = default;
    };
    struct AnswerPending {
        /// The beginning of the request's id.
        std::string id;
        VostelMCPKit::MCPConfirmationLogic::Decision decision = VostelMCPKit::MCPConfirmationLogic::Decision::denied;
        bool operator==(const AnswerPending&) const = default;
    };
    struct ShowSettings {
        bool operator==(const ShowSettings&) const = default;
    };
    struct SetReading {
        bool isAllowed = false;
        bool operator==(const SetReading&) const = default;
    };
    struct Dictate {
        std::string file;
        std::string language;
        bool operator==(const Dictate&) const = default;
    };
    struct Record {
        std::string microphone;
        std::string system;
        std::string language;
        bool operator==(const Record&) const = default;
    };
    struct ListTranscripts {
        std::optional<std::int64_t> limit;
        std::optional<std::string> since;
        std::optional<std::string> until;
        bool operator==(const ListTranscripts&) const = default;
    };
    struct ShowTranscript {
        /// The beginning of its id.
        std::string id;
        bool operator==(const ShowTranscript&) const = default;
    };
    struct ListWords {
        bool operator==(const ListWords&) const = default;
    };
    struct AddWord {
        std::string word;
        /// Empty: only the spelling of the word is fixed.
        std::string replacement;
        bool operator==(const AddWord&) const = default;
    };
    struct RemoveWords {
        std::vector<std::string> words;
        bool operator==(const RemoveWords&) const = default;
    };
    struct ListModels {
        bool operator==(const ListModels&) const = default;
    };
    struct InstallModel {
        std::string identifier;
        bool operator==(const InstallModel&) const = default;
    };
    struct RemoveModel {
        std::string identifier;
        bool operator==(const RemoveModel&) const = default;
    };
    struct Clients {
        ClientsVerb verb = ClientsVerb::status;
        /// All of them when empty.
        std::vector<VostelMCPKit::MCPClientKind> kinds;
        bool force = false;
        bool operator==(const Clients&) const = default;
    };

    std::variant<Serve, ListPending, AnswerPending, ShowSettings, SetReading, Dictate, Record, ListTranscripts,
                 ShowTranscript, ListWords, AddWord, RemoveWords, ListModels, InstallModel, RemoveModel, Clients>
        is;

    bool operator==(const Command&) const = default;
};

} // namespace vostel_companion
