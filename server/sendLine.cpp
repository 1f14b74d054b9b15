#include "server/sendLine.h"

#include "kit/jsonrpc/MCPDispatchLogic.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

Bytes outOfMemoryLine() {
    const auto error = MCPError::internalError("There is not enough memory for this message.");
    Bytes line;
    std::ignore = appendLine(MCPDispatchLogic::frameWithoutID(error), line);
    return line;
}

Task<void> sendText(MCPStdoutWriter& output, Bytes text) { std::ignore = co_await output.send(std::move(text)); }

} // namespace vostel_mcp
