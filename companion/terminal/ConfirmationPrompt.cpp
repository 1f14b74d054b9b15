#include "companion/terminal/ConfirmationPrompt.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "kit/support/ASCII.h"
#include "kit/support/Unicode.h"

#include <algorithm>

namespace vostel_companion {

using VostelMCPKit::MCPConfirmationLogic::Decision;

namespace {

std::optional<Decision> decisionIn(std::string_view line) {
    const std::string word = VostelMCPKit::asciiLowerCase(VostelMCPKit::trimmed(line));
    if (word == "y" || word == "yes") return Decision::confirmed;
    if (word == "n" || word == "no") return Decision::denied;
    return std::nullopt;
}

} // namespace

ConfirmationPrompt::Turn ConfirmationPrompt::poll(std::span<const OpenConfirmation> open) {
    Turn turn;
    const auto isAsked = [&](const OpenConfirmation& waiting) { return waiting.request.id == asked_; };
    if (asked_ && std::ranges::none_of(open, isAsked)) {
        turn.text += "\nThis request was answered elsewhere, or it has expired.\n";
        asked_.reset();
    }
    if (asked_ || open.empty()) return turn;

    const OpenConfirmation& next = open.front();
    asked_ = next.request.id;
    turn.text += "\n" + (next.client.empty() ? "An AI client" : "The AI client " + inQuotes(next.client)) +
                 " asks for your confirmation:\n    " + printableLine(next.action.description()) + "\nAllow it? y/n: ";
    turn.discardsInput = true;
    return turn;
}

ConfirmationPrompt::Turn ConfirmationPrompt::handleInput(std::string_view line) {
    if (!asked_) return {};
    const VostelMCPKit::UUID id = *asked_;
    const auto decision = decisionIn(line);
    if (!decision) return {"Please answer y or n: ", false, std::nullopt};
    asked_.reset();
    return {{}, false, Answer{id, *decision}};
}

std::string outcomeText(VostelMCPKit::MCPConfirmationLogic::Decision decision,
                        const std::vector<std::string>& removed) {
    if (decision == VostelMCPKit::MCPConfirmationLogic::Decision::denied) return "Denied; nothing was removed.";
    if (removed.empty()) return "Confirmed; there was nothing left to remove.";
    std::string text = "Confirmed; removed ";
    for (std::size_t index = 0; index < removed.size(); ++index) {
        text += (index > 0 ? ", " : "") + inDoubleQuotes(removed[index]);
    }
    return text + ".";
}

} // namespace vostel_companion
