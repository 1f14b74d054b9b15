// What the two tools share that a person must confirm.
#pragma once

#include "companion/tools/ToolContext.h"

#include <functional>
#include <string>
#include <vector>

namespace vostel_companion {

/// Asks for `action`: pending, denied and expired requests have their outcomes here; `done` makes that of a performed
/// one from what was removed.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
askForConfirmation(const ToolContext& context, Cancellation& cancellation, const ConfirmableAction& action,
                   const std::function<VostelMCPKit::MCPToolOutcome(const std::vector<std::string>& removed)>& done);

} // namespace vostel_companion
