#include "kit/tools/MCPToolOutcome.h"

#include "kit/support/match.h"

#include <utility>

namespace VostelMCPKit {

std::string MCPDenial::description() const {
    return match(is, [](const Disabled& disabled) {
        return "This action was denied: the tool is currently disabled (" + disabled.reason + ").";
    });
}

MCPToolOutcome MCPToolOutcome::text(std::string text, std::optional<MCPValue> structured) {
    return {Text{std::move(text), std::move(structured)}};
}

MCPToolOutcome MCPToolOutcome::awaitingConfirmation(const UUID& id, std::string summary) {
    return {AwaitingConfirmation{id, std::move(summary)}};
}

MCPToolOutcome MCPToolOutcome::denied(std::string reason) {
    return {MCPDenial{MCPDenial::Disabled{std::move(reason)}}};
}

MCPToolOutcome MCPToolOutcome::failed(std::string message) { return {MCPToolError{std::move(message)}}; }

} // namespace VostelMCPKit

std::size_t
std::hash<VostelMCPKit::MCPToolOutcome>::operator()(const VostelMCPKit::MCPToolOutcome& outcome) const noexcept {
    using namespace VostelMCPKit;
    const auto hashOf = [&](const MCPValue& first, const MCPValue& second) {
        return MCPValue::array({outcome.is.index(), first, second}).hash();
    };
    return match(
        outcome.is, [&](const MCPToolOutcome::Text& ran) { return hashOf(ran.text, ran.structured.value_or(nullptr)); },
        [&](const MCPToolOutcome::AwaitingConfirmation& awaiting) {
            return hashOf(awaiting.id.text(), awaiting.summary);
        },
        [&](const MCPDenial& denial) { return hashOf(denial.description(), nullptr); },
        [&](const MCPToolError& error) { return hashOf(error.message, nullptr); });
}
