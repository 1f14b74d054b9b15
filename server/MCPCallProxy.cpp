#include "server/MCPCallProxy.h"

#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/MCPLine.h"
#include "kit/wire/MCPWireVersionLogic.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

namespace {

/// From here on, in bytes, what a response leaves in the allocator is more than a helper may idle with.
constexpr std::size_t largeLine = 4 << 20;

std::optional<MCPValue> progressToken(const MCPRequest& request) {
    const MCPValue* token = orNull(request.params).find("_meta", "progressToken");
    if (token == nullptr) return std::nullopt;
    return *token;
}

/// The external key that a notifications/cancelled names; absent when its requestId is no possible id.
std::optional<std::string> cancelledKey(const MCPNotification& notification) {
    const MCPValue* id = orNull(notification.params).find("requestId");
    if (id == nullptr) return std::nullopt;
    const auto decoded = decode<MCPRequestID>(*id);
    if (!decoded) return std::nullopt;
    return decoded->text();
}

MCPResponse response(const MCPRequestID& id, std::expected<MCPWireResponse, MCPSocketClient::Failure> outcome) {
    if (!outcome) return MCPResponse::failure(id, MCPError::internalError(outcome.error().description()));
    if (const auto* error = std::get_if<MCPWireError>(&outcome->outcome)) {
        return MCPResponse::failure(id, MCPError::internalError(error->description()));
    }
    return MCPResponse::result(id, std::get<MCPValue>(std::move(outcome->outcome)));
}

/// Empty, which writes nothing, when the response holds a number without value.
Bytes encodedLine(const MCPResponse& response) {
    Bytes line;
    std::ignore = appendLine(response, line);
    return line;
}

} // namespace

Task<void> MCPCallProxy::handle(MCPIncoming incoming, MCPClientInfo clientInfo) {
    if (auto* request = std::get_if<MCPRequest>(&incoming.is)) {
        if (request->method == MCPDispatchLogic::applicationMethod) {
            co_await startCall(std::move(*request), std::move(clientInfo));
        }
    } else if (auto* notification = std::get_if<MCPNotification>(&incoming.is)) {
        if (notification->method == MCPDispatchLogic::applicationNotification) {
            auto key = cancelledKey(*notification);
            if (key) co_await cancelCall(*std::move(key));
        }
    }
}

Task<void> MCPCallProxy::startCall(MCPRequest request, MCPClientInfo clientInfo) {
    const MCPValue& params = orNull(request.params);
    const auto tool = params.string("name");
    if (!tool) {
        auto error = MCPError::invalidParams("tools/call requires params.name");
        auto refusal = encodedLine(MCPResponse::failure(std::move(request.id), std::move(error)));
        std::ignore = co_await uses_.standardOutput.send(std::move(refusal));
        co_return;
    }
    const MCPValue* arguments = params.find("arguments");
    MCPWireRequest wireRequest{
        .protocolVersion = wireProtocolVersion,
        .clientInfo = std::move(clientInfo),
        .tool = std::string{*tool},
        .arguments = arguments != nullptr ? *arguments : MCPValue::object({}),
        .requestID = {},
    };
    CallIdentity call{.requestID = request.id, .wireID = {}, .externalKey = request.id.text()};
    auto token = progressToken(request);
    // Large arguments are held by the wire request alone from here on.
    request = {};

    co_await isolated();
    call.wireID = registry_.registerCall(call.externalKey, std::move(token), uses_.makeUUID());
    wireRequest.requestID = call.wireID;
    auto cancellation = std::make_shared<std::atomic<bool>>(false);
    tasks_.insert_or_assign(call.externalKey, cancellation);
    start(run(weak_from_this(), uses_, std::move(call), std::move(wireRequest), std::move(cancellation)), uses_.calls);
}

Task<void> MCPCallProxy::run(std::weak_ptr<MCPCallProxy> weakProxy, Uses uses, CallIdentity call,
                             MCPWireRequest request, TaskCancellation cancellation) {
    Executor& calls = uses.calls;
    MCPSocketClient::Progress progress = [weakProxy, &calls](std::vector<MCPWireProgress> reports) {
        start(relay(weakProxy, std::move(reports)), calls);
    };
    auto outcome = co_await uses.socketClient.send(std::move(request), std::move(progress));
    const auto proxy = weakProxy.lock();
    if (!proxy) co_return;
    auto line = encodedLine(response(call.requestID, std::move(outcome)));
    const bool isLarge = line.size() > largeLine;
    // Asked as late as possible: a cancellation may come while a large response is being encoded.
    const bool mayAnswer = co_await proxy->mayAnswer(call.wireID, std::move(cancellation));
    // A response that cannot be written is dropped: nobody is left to tell.
    if (mayAnswer) std::ignore = co_await uses.standardOutput.send(std::move(line));
    co_await proxy->finish(std::move(call));
    if (isLarge) uses.releaseFreeMemory();
}

Task<bool> MCPCallProxy::mayAnswer(std::string wireID, TaskCancellation cancellation) {
    co_await isolated();
    co_return !*cancellation && registry_.shouldSendResponse(wireID);
}

Task<void> MCPCallProxy::finish(CallIdentity call) {
    co_await isolated();
    tasks_.erase(call.externalKey);
    registry_.finish(call.wireID);
}

Task<void> MCPCallProxy::relay(std::weak_ptr<MCPCallProxy> weakProxy, std::vector<MCPWireProgress> progress) {
    const auto proxy = weakProxy.lock();
    if (proxy) co_await proxy->forward(std::move(progress));
}

Task<void> MCPCallProxy::forward(std::vector<MCPWireProgress> progress) {
    co_await isolated();
    Bytes lines;
    for (const MCPWireProgress& report : progress) {
        const auto notification = registry_.progressNotification(report.requestID, report.fraction, report.message);
        if (notification) std::ignore = appendLine(*notification, lines);
    }
    if (!lines.empty()) std::ignore = co_await uses_.standardOutput.send(std::move(lines));
}

Task<void> MCPCallProxy::cancelCall(std::string externalKey) {
    co_await isolated();
    auto wireID = registry_.wireID(externalKey);
    if (!wireID) co_return;
    registry_.cancel(*wireID);
    if (const auto task = tasks_.find(externalKey); task != tasks_.end()) *task->second = true;
    // Awaited, so that a client that cancels its call and leaves is heard: the process ends with its input.
    co_await uses_.socketClient.cancel(*std::move(wireID));
}

} // namespace vostel_mcp
