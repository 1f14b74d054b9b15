// What the application can do for an AI client, by tool name.
#pragma once

#include "companion/support/Cancellation.h"
#include "kit/tools/MCPToolOutcome.h"

#include <functional>
#include <string>
#include <unordered_map>

namespace vostel_companion {

/// One call of a tool.
struct ToolCall {
    /// As the client gave them: of any JSON type, checked by nobody yet.
    VostelMCPKit::MCPValue arguments;
    /// Watched by tools that take their time.
    Cancellation& cancellation;
    /// Takes the share of the work that is done, 0 to 1, as often as it changes.
    std::function<void(double)> progress;
};

/// Runs on a thread of its own, several calls at once.
using Tool = std::function<VostelMCPKit::MCPToolOutcome(const ToolCall&)>;

/// Each group of tools adds its own; filled before the server starts and only read afterwards.
using ToolTable = std::unordered_map<std::string, Tool>;

/// The outcome of a tool that failed with `message`.
[[nodiscard]] VostelMCPKit::MCPToolOutcome failedOutcome(std::string message);

} // namespace vostel_companion
