#include "kit/tools/MCPCallResult.h"

#include "kit/support/match.h"
#include "kit/tools/MCPUntrustedFence.h"

#include <utility>

namespace VostelMCPKit {

namespace {

MCPCallResult oneBlock(std::string text, bool isError) {
    MCPCallResult result;
    result.content.push_back({.text = std::move(text)});
    result.isError = isError;
    return result;
}

} // namespace

MCPCallResult MCPCallResult::rendering(const MCPToolOutcome& outcome) {
    return match(
        outcome.is,
        [](const MCPToolOutcome::Text& ran) {
            MCPCallResult result = oneBlock(MCPUntrustedFence::fence(ran.text), /*isError=*/false);
            result.structuredContent = ran.structured;
            return result;
        },
        [](const MCPToolOutcome::AwaitingConfirmation& awaiting) {
            // Deliberate: a pending request is an error, so that the model does not take the action for done.
            return oneBlock("This action has NOT been performed. It is a pending request (id " + awaiting.id.text() +
                                ") awaiting confirmation from the user: " + awaiting.summary +
                                ". Do not assume it happened — wait for the user to confirm before treating it as "
                                "complete.",
                            /*isError=*/true);
        },
        [](const MCPDenial& denial) { return oneBlock(denial.description(), /*isError=*/true); },
        [](const MCPToolError& error) { return oneBlock(error.message, /*isError=*/true); });
}

} // namespace VostelMCPKit
