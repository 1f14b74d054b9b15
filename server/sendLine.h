// One message as one line of standard output.
#pragma once

#include "kit/jsonrpc/MCPLine.h"
#include "kit/stdio/MCPStdoutWriter.h"

namespace vostel_mcp {

/// Writes `text`, a whole line. A failure is ignored, because the client is gone.
// Not a template: the link-time optimiser of g++ 12 warns of coroutines that two files instantiate.
VostelMCPKit::Task<void> sendText(VostelMCPKit::MCPStdoutWriter& output, VostelMCPKit::Bytes text);

/// Writes `message` as a line. If it cannot be encoded, nothing is written.
template <class Message>
VostelMCPKit::Task<void> sendLine(VostelMCPKit::MCPStdoutWriter& output, const Message& message) {
    VostelMCPKit::Bytes line;
    std::ignore = VostelMCPKit::appendLine(message, line);
    return sendText(output, std::move(line));
}

} // namespace vostel_mcp
