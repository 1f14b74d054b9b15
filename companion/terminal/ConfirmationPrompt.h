// Asking the user at the terminal about the requests that wait for confirmation.
//
// One question at a time, the oldest request first. Input that was typed before a question was shown must not answer
// it, so it is discarded when a question is asked.
#pragma once

#include "companion/store/Confirmations.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// Decides what to ask and how to read the answers. It does no I/O. Not thread-safe.
class ConfirmationPrompt final {
public:
    struct Answer {
        VostelMCPKit::UUID id;
        VostelMCPKit::MCPConfirmationLogic::Decision decision = VostelMCPKit::MCPConfirmationLogic::Decision::denied;
        bool operator==(const Answer&) const = default;
    };
    /// What the caller must do next.
    struct Turn {
        /// Print this text.
        std::string text;
        /// Before that, discard what has been typed so far, because the text asks a question.
        bool discardsInput = false;
        /// Pass this answer to the store.
        std::optional<Answer> answer;
        bool operator==(const Turn&) const = default;
    };

    ConfirmationPrompt() = default;
    ConfirmationPrompt(const ConfirmationPrompt&) = delete;
    ConfirmationPrompt& operator=(const ConfirmationPrompt&) = delete;

    /// Asks the next question, if there is one. `open` are the waiting requests, oldest first.
    [[nodiscard]] Turn poll(std::span<const OpenConfirmation> open);
    /// The user has typed `line`, given without its line break.
    [[nodiscard]] Turn handleInput(std::string_view line);

private:
    std::optional<VostelMCPKit::UUID> asked_;
};

/// A sentence about an answered request. `removed` is what Confirmations::answer returned.
[[nodiscard]] std::string outcomeText(VostelMCPKit::MCPConfirmationLogic::Decision decision,
                                      const std::vector<std::string>& removed);

} // namespace vostel_companion
