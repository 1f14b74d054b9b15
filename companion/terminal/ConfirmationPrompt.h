// The conversation with the person at the terminal about the requests that wait for confirmation.
//
// One question at a time, the oldest request first. Whatever was typed before a question was on the screen does not
// answer it: the input is to be discarded whenever one is asked.
#pragma once

#include "companion/store/Confirmations.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// The rules alone; whoever owns the terminal and the store calls them. For one thread.
class ConfirmationPrompt final {
public:
    struct Answer {
        VostelMCPKit::UUID id;
        VostelMCPKit::MCPConfirmationLogic::Decision decision = VostelMCPKit::MCPConfirmationLogic::Decision::denied;
        bool operator==(const Answer&) const = default;
    };
    /// What happens next.
    struct Turn {
        /// Written first.
        std::string text;
        /// A question was asked: what has been typed so far is not its answer.
        bool discardsInput = false;
        /// To be given to the store.
        std::optional<Answer> answer;
        bool operator==(const Turn&) const = default;
    };

    ConfirmationPrompt() = default;
    ConfirmationPrompt(const ConfirmationPrompt&) = delete;
    ConfirmationPrompt& operator=(const ConfirmationPrompt&) = delete;

    /// `open` are the requests that wait now, oldest first.
    [[nodiscard]] Turn look(std::span<const OpenConfirmation> open);
    /// The person has typed `line`, without its line break.
    [[nodiscard]] Turn hear(std::string_view line);

private:
    std::optional<VostelMCPKit::UUID> asked_;
};

/// What became of a request that the user answered, as a sentence; `removed` as Confirmations::answer returns it.
[[nodiscard]] std::string outcomeText(VostelMCPKit::MCPConfirmationLogic::Decision decision,
                                      const std::vector<std::string>& removed);

} // namespace vostel_companion
