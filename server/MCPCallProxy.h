// Forwards the client's tool calls to the application, relays progress, writes each call's response when it comes, and
// carries cancellations through.
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

/// An actor. Its calls run on after it is gone, but then they write nothing more.
class MCPCallProxy final : public VostelMCPKit::Actor, public std::enable_shared_from_this<MCPCallProxy> {
public:
    /// All of it outlives the proxy and its calls.
    struct Dependencies {
        MCPSocketClient& socketClient;
        VostelMCPKit::MCPStdoutWriter& standardOutput;
        PendingCancellations& pendingCancellations;
        /// Where calls run between their blocking operations: off the proxy, so that a large result keeps nobody
        /// waiting.
        VostelMCPKit::Executor& calls;
        /// A fresh wire id for each call.
        std::function<std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError>()> makeUUID;
        MemoryTrimmer& memory;
    };

    /// The JSON text of a call's arguments, as our writer writes it; see MCPTextCall.
    using TextArguments = std::optional<VostelMCPKit::Bytes>;

    MCPCallProxy(VostelMCPKit::Executor& executor, Dependencies dependencies)
        : Actor{executor}, dependencies_{std::move(dependencies)} {}

    /// Starts the call of a tools/call request, or cancels the call that a notifications/cancelled names; every other
    /// message is ignored. Returns once the call has begun or is cancelled: no state of the application delays it.
    /// After a cancellation, no line of its call begins.
    /// `arguments` replace those of the request.
    [[nodiscard]] VostelMCPKit::Task<void> handle(VostelMCPKit::MCPIncoming incoming,
                                                  VostelMCPKit::MCPClientInfo clientInfo, TextArguments arguments = {});

    /// Relays progress reports to the client, all those of one call together.
    [[nodiscard]] VostelMCPKit::Task<void> forward(std::vector<VostelMCPKit::MCPProgressReports> progress);

private:
    using Cancellation = std::shared_ptr<CallCancellation>;

    /// What a call's task knows of its call.
    struct CallIdentity {
        VostelMCPKit::MCPRequestID requestID;
        std::string wireID;
        /// The request id as text. Deliberate: the number 5 and the string "5" name the same call.
        std::string externalKey;
    };

    VostelMCPKit::Task<void> startCall(VostelMCPKit::MCPRequest request, VostelMCPKit::MCPClientInfo clientInfo,
                                       TextArguments textArguments);
    VostelMCPKit::Task<void> cancelCall(std::string externalKey);
    VostelMCPKit::Task<bool> mayAnswer(std::string wireID);
    VostelMCPKit::Task<void> finish(CallIdentity call);

    /// The life of one call. Holds the proxy weakly while the application works.
    static VostelMCPKit::Task<void> run(std::weak_ptr<MCPCallProxy> weakProxy, Dependencies dependencies,
                                        CallIdentity call, MCPSocketClient::Call toSend, Cancellation cancellation);
    static VostelMCPKit::Task<void> relay(std::weak_ptr<MCPCallProxy> weakProxy,
                                          std::vector<VostelMCPKit::MCPProgressReports> progress);
    static VostelMCPKit::Task<void> tellApplication(Dependencies dependencies, std::string wireID,
                                                    Cancellation cancellation);

    const Dependencies dependencies_;
    VostelMCPKit::MCPCancellationRegistry registry_;
    /// What cancels each running call, by wire id. The registry knows which call an external key names.
    std::unordered_map<std::string, Cancellation> tasks_;
};

} // namespace vostel_mcp
