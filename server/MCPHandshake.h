// The server loop: takes one line after the other, answers what the server answers itself, and hands the rest to the
// call proxy.
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
    /// The proxy, or the error that kept it from being built, which then answers every call.
    using Forwarding = std::expected<std::shared_ptr<MCPCallProxy>, VostelMCPKit::ConnectError>;

    MCPHandshake(LineChannel& lines, VostelMCPKit::MCPStdoutWriter& standardOutput, Forwarding forwarding,
                 bool youTubeAvailable, MemoryTrimmer& memory)
        : lines_{lines}, standardOutput_{standardOutput}, forwarding_{std::move(forwarding)},
          youTubeAvailable_{youTubeAvailable}, memory_{memory} {}

    /// Ends with the lines. A line is handled completely, its reply written, before the next one is looked at; calls
    /// that still run are left alone.
    [[nodiscard]] VostelMCPKit::Task<void> serve();

private:
    VostelMCPKit::Task<void> handle(std::string line);
    VostelMCPKit::Task<void> forward(VostelMCPKit::MCPIncoming incoming, MCPCallProxy::TextArguments arguments);

    LineChannel& lines_;
    VostelMCPKit::MCPStdoutWriter& standardOutput_;
    const Forwarding forwarding_;
    const bool youTubeAvailable_;
    MemoryTrimmer& memory_;
    /// Replaced by each initialize that says who the client is.
    VostelMCPKit::MCPClientInfo clientInfo_{"unknown client", std::nullopt};
};

} // namespace vostel_mcp
