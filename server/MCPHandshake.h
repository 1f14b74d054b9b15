// The server loop: takes one line after the other, answers the handshake and the tool list, and passes tool calls and
// cancellations to the call proxy.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/connect/MCPConnectLogic.h"
#include "kit/stdio/MCPStdoutWriter.h"
#include "kit/wire/MCPClientInfo.h"
#include "server/LineChannel.h"
#include "server/MCPCallProxy.h"
#include "server/MemoryTrimmer.h"

#include <expected>
#include <memory>

namespace vostel_mcp {

class MCPHandshake final {
public:
    /// The proxy. If it could not be built: the error that answers every call.
    using Forwarding = std::expected<std::shared_ptr<MCPCallProxy>, VostelMCPKit::ConnectError>;

    MCPHandshake(LineChannel& lines, VostelMCPKit::MCPStdoutWriter& standardOutput, Forwarding forwarding,
                 bool youTubeAvailable, MemoryTrimmer& memory)
        : lines_{lines}, standardOutput_{standardOutput}, forwarding_{std::move(forwarding)},
          youTubeAvailable_{youTubeAvailable}, memory_{memory} {}

    /// Returns at the end of the lines. Each line is handled completely, and its reply is written, before the next line
    /// is read. Calls that still run at the end are not stopped.
    [[nodiscard]] VostelMCPKit::Task<void> serve();

private:
    VostelMCPKit::Task<void> handle(std::string line);

    LineChannel& lines_;
    VostelMCPKit::MCPStdoutWriter& standardOutput_;
    const Forwarding forwarding_;
    const bool youTubeAvailable_;
    MemoryTrimmer& memory_;
    /// Each initialize request with a client name replaces it.
    VostelMCPKit::MCPClientInfo clientInfo_{"unknown client", std::nullopt};
};

} // namespace vostel_mcp
