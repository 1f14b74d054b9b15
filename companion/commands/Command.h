// What the user asked for on the command line, as a value.
#pragma once

#include "companion/commands/Completions.h"
#include "companion/configs/ClientConfigs.h"
#include "kit/tools/MCPConfirmationLogic.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vostel_companion {

/// The exit status of every verb. An interrupted verb ends by the signal instead.
enum class Exit : int {
    done = 0,
    /// The request was valid but could not be carried out, for example because no transcript has this id.
    refused = 1,
    /// Something failed, or the command line is wrong.
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
        /// The beginning of the id of the request.
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
    struct Transcribe {
        /// Paths and links.
        std::vector<std::string> sources;
        std::string language;
        bool operator==(const Transcribe&) const = default;
    };
    struct Record {
        std::string microphone;
        std::string system;
        std::string language;
        bool operator==(const Record&) const = default;
    };
    /// The kinds of stored things. A recorded call counts as a transcript, too.
    enum class Kind { transcript, recording, dictation };
    struct List {
        Kind kind = Kind::transcript;
        std::optional<std::int64_t> limit;
        std::optional<std::string> since;
        std::optional<std::string> until;
        bool operator==(const List&) const = default;
    };
    struct Show {
        enum class Format { text, srt, vtt, json };

        Kind kind = Kind::transcript;
        /// The beginning of its id.
        std::string id;
        /// Always text for a dictation, because it has no times.
        Format format = Format::text;
        bool operator==(const Show&) const = default;
    };
    struct Delete {
        Kind kind = Kind::transcript;
        /// The beginning of its id.
        std::string id;
        bool operator==(const Delete&) const = default;
    };
    struct Search {
        std::vector<std::string> phrases;
        std::optional<std::int64_t> limit;
        std::optional<std::string> since;
        std::optional<std::string> until;
        bool operator==(const Search&) const = default;
    };
    struct ListWords {
        bool operator==(const ListWords&) const = default;
    };
    struct AddWord {
        std::string word;
        /// Empty: only the spelling of the word is corrected.
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
    struct PrintCompletions {
        Shell shell = Shell::bash;
        bool operator==(const PrintCompletions&) const = default;
    };
    struct Status {
        bool operator==(const Status&) const = default;
    };
    struct Quit {
        bool operator==(const Quit&) const = default;
    };
    struct Doctor {
        bool operator==(const Doctor&) const = default;
    };
    struct Clients {
        ClientConfigAction action = ClientConfigAction::status;
        /// Empty: all of them.
        std::vector<VostelMCPKit::MCPClientKind> kinds;
        bool force = false;
        bool operator==(const Clients&) const = default;
    };

    std::variant<Serve, ListPending, AnswerPending, ShowSettings, SetReading, Dictate, Transcribe, Record, List, Show,
                 Delete, Search, ListWords, AddWord, RemoveWords, ListModels, InstallModel, RemoveModel, Status, Quit,
                 Doctor, Clients, PrintCompletions>
        is;

    bool operator==(const Command&) const = default;
};

} // namespace vostel_companion
