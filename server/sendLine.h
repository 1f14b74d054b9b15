// One message as one line of standard output.
#pragma once

#include "kit/jsonrpc/MCPLine.h"
#include "kit/stdio/MCPStdoutWriter.h"

namespace vostel_mcp {

/// Writes `message` as a line. A message that cannot be encoded is dropped, and so is a failure to write it: nobody is
/// left to tell.
template <class Message>
VostelMCPKit::Task<void> sendLine(VostelMCPKit::MCPStdoutWriter& output, Message message) {
    VostelMCPKit::Bytes line;
    if (!VostelMCPKit::appendLine(message, line)) co_return;
    std::ignore = co_await output.send(std::move(line));
}

} // namespace vostel_mcp
