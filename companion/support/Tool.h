// What the application can do for an AI client, by tool name.
#pragma once

#include "companion/support/Cancellation.h"
#include "companion/support/Progress.h"
#include "kit/jsonrpc/MCPValue.h"
#include "kit/tools/MCPToolOutcome.h"

#include <functional>
#include <string>
#include <unordered_map>

namespace vostel_companion {

/// One call of a tool.
struct ToolCall {
    /// As the client gave them: of any JSON type and not checked.
    VostelMCPKit::MCPValue arguments;
    /// Long work checks it.
    Cancellation& cancellation;
    /// Called when more work is done or when the message changes.
    ReportProgress progress;
    /// The name of the AI client, as it introduced itself.
    std::string client = {};
};

/// Runs on a thread of the call, several calls at once.
using Tool = std::function<VostelMCPKit::MCPToolOutcome(const ToolCall&)>;

/// Filled before the server starts and only read afterwards.
using ToolTable = std::unordered_map<std::string, Tool>;

} // namespace vostel_companion
