// What the two tools that the user must confirm have in common.
#pragma once

#include "companion/tools/ToolContext.h"

#include <functional>
#include <string>
#include <vector>

namespace vostel_companion {

/// Asks the user to confirm `action` for the client of `call`, or returns the outcome of an earlier request for it.
/// `done` makes the outcome of a performed action from what was removed.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
askForConfirmation(const ToolContext& context, const ToolCall& call, const ConfirmableAction& action,
                   const std::function<VostelMCPKit::MCPToolOutcome(const std::vector<std::string>& removed)>& done);

} // namespace vostel_companion
