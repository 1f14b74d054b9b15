// One message as one line of standard output.
#pragma once

#include "kit/jsonrpc/MCPLine.h"
#include "kit/stdio/MCPStdoutWriter.h"
#include "kit/support/outOfMemory.h"

namespace vostel_mcp {

/// The line for a message that is too large for the memory. It has no id, like the line for a message that is not JSON.
VostelMCPKit::Bytes outOfMemoryLine();

/// The line of `message`; empty if it cannot be encoded. If there is not enough memory for it, the line says so.
template <class Message>
VostelMCPKit::Bytes lineOf(const Message& message) {
    const auto write = [&] {
        VostelMCPKit::Bytes line;
        std::ignore = VostelMCPKit::appendLine(message, line);
        return line;
    };
    return VostelMCPKit::withinMemory(write, outOfMemoryLine);
}

/// Writes `text`, a whole line. A failure is ignored, because the client is gone.
// Not a template: the link-time optimiser of g++ 12 warns of coroutines that two files instantiate.
VostelMCPKit::Task<void> sendText(VostelMCPKit::MCPStdoutWriter& output, VostelMCPKit::Bytes text);

/// Writes `message` as a line; see lineOf. If it cannot be encoded, nothing is written.
template <class Message>
VostelMCPKit::Task<void> sendLine(VostelMCPKit::MCPStdoutWriter& output, const Message& message) {
    return sendText(output, lineOf(message));
}

} // namespace vostel_mcp
