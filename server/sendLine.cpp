#include "server/sendLine.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

Task<void> sendText(MCPStdoutWriter& output, Bytes text) { std::ignore = co_await output.send(std::move(text)); }

} // namespace vostel_mcp
