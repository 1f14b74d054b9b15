// Forwards the client's tool calls and cancellations to the application. Relays progress, and writes each response when
// it comes.
#pragma once

#include "kit/concurrency/Actor.h"
#include "kit/jsonrpc/MCPIncoming.h"
#include "kit/stdio/MCPStdoutWriter.h"
#include "kit/wire/MCPCancellationRegistry.h"
#include "server/MCPSocketClient.h"
#include "server/MemoryTrimmer.h"
#include "server/PendingCancellations.h"

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vostel_mcp {

/// An actor. Its calls may outlive it, but then they write nothing more.
class MCPCallProxy final : public VostelMCPKit::Actor, public std::enable_shared_from_this<MCPCallProxy> {
public:
    /// All of them outlive the proxy and its calls.
    struct Dependencies {
        MCPSocketClient& socketClient;
        VostelMCPKit::MCPStdoutWriter& standardOutput;
        PendingCancellations& pendingCancellations;
        /// Runs calls between their blocking operations. Not the proxy's executor, so that a large result does not
        /// delay other calls.
        VostelMCPKit::Executor& calls;
        /// Makes the wire id of each call.
        std::function<std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError>()> makeUUID;
        MemoryTrimmer& memory;
    };

    /// The JSON text of a call's arguments, as our writer writes it; see MCPTextCall.
    using TextArguments = std::optional<VostelMCPKit::Bytes>;

    MCPCallProxy(VostelMCPKit::Executor& executor, Dependencies dependencies)
        : Actor{executor}, dependencies_{std::move(dependencies)} {}

    /// Starts the call of a tools/call request, or cancels the call that a notifications/cancelled names. Ignores every
    /// other message. Returns when the call has begun or is cancelled, and never waits for the application. After a
    /// cancellation, no line of its call begins. `arguments` replace those of the request.
    [[nodiscard]] VostelMCPKit::Task<void> handle(VostelMCPKit::MCPIncoming incoming,
                                                  VostelMCPKit::MCPClientInfo clientInfo, TextArguments arguments = {});

    /// Relays progress reports to the client. Writes all reports of one call together.
    [[nodiscard]] VostelMCPKit::Task<void> forward(std::vector<VostelMCPKit::MCPProgressReports> progress);

private:
    using Cancellation = std::shared_ptr<CallCancellation>;

    /// The names of one call.
    struct CallIdentity {
        VostelMCPKit::MCPRequestID requestID;
        std::string wireID;
    };

    VostelMCPKit::Task<void> startCall(VostelMCPKit::MCPRequest request, VostelMCPKit::MCPClientInfo clientInfo,
                                       TextArguments textArguments);
    VostelMCPKit::Task<void> cancelCall(std::string externalKey);
    /// Ends a call. Writes its answer, unless the call is cancelled.
    VostelMCPKit::Task<void> finish(std::string wireID, VostelMCPKit::Bytes answer, Cancellation cancellation);

    /// Runs one call from its request to its answer. Does not keep the proxy alive while the application works.
    static VostelMCPKit::Task<void> run(std::weak_ptr<MCPCallProxy> weakProxy, Dependencies dependencies,
                                        CallIdentity call, MCPSocketClient::Call toSend, Cancellation cancellation);
    static VostelMCPKit::Task<void> relay(std::weak_ptr<MCPCallProxy> weakProxy,
                                          std::vector<VostelMCPKit::MCPProgressReports> progress);
    static VostelMCPKit::Task<void> tellApplication(Dependencies dependencies, std::string wireID,
                                                    Cancellation cancellation);

    const Dependencies dependencies_;
    VostelMCPKit::MCPCancellationRegistry registry_;
    /// The cancellation of each running call, by wire id. The registry knows the wire id of an external key.
    std::unordered_map<std::string, Cancellation> tasks_;
};

} // namespace vostel_mcp
