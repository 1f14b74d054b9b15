// Shared by the two tools whose actions the user must confirm.
#pragma once

#include "companion/tools/ToolContext.h"

#include <functional>
#include <string>
#include <vector>

namespace vostel_companion {

/// Asks the user to confirm `action` for the client of `call`, or returns the outcome of an earlier request for it.
/// If the action was performed, `done` makes the outcome from what was removed.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
askForConfirmation(const ToolContext& context, const ToolCall& call, const ConfirmableAction& action,
                   const std::function<VostelMCPKit::MCPToolOutcome(const std::vector<std::string>& removed)>& done);

} // namespace vostel_companion
