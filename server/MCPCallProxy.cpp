#include "server/MCPCallProxy.h"

#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/support/outOfMemory.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "server/sendLine.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

namespace {

std::optional<MCPValue> progressToken(const MCPRequest& request) {
    const MCPValue* token = orNull(request.params).find("_meta", "progressToken");
    if (token == nullptr) return std::nullopt;
    return *token;
}

/// The external key of the call that a notifications/cancelled names; absent when its requestId is not a valid id.
std::optional<std::string> cancelledKey(const MCPNotification& notification) {
    const MCPValue* id = orNull(notification.params).find("requestId");
    if (id == nullptr) return std::nullopt;
    const auto decoded = decode<MCPRequestID>(*id);
    if (!decoded) return std::nullopt;
    return decoded->text();
}

/// Runs `work`, which copies what a client decides the size of. False if there is not enough memory for it.
bool hasMemoryFor(auto work) {
    const auto succeed = [&] {
        work();
        return true;
    };
    return withinMemory(succeed, [] { return false; });
}

/// The gate that the writer asks before each line of the call.
std::shared_ptr<LineGate> linesOf(const std::shared_ptr<CallCancellation>& cancellation) {
    return {cancellation, &cancellation->lines()};
}

MCPResponse internalError(MCPRequestID id, std::string message) {
    return MCPResponse::failure(std::move(id), MCPError::internalError(std::move(message)));
}

/// Call it where memory may run out.
Bytes errorLine(const MCPRequestID& id, std::string message) {
    Bytes line;
    std::ignore = appendLine(internalError(id, std::move(message)), line);
    return line;
}

MCPResponse outOfMemoryError(MCPRequestID id) {
    const MCPSocketClient::Failure failure{MCPSocketClient::OutOfMemory{}};
    return internalError(std::move(id), failure.description());
}

Bytes responseLine(MCPRequestID id, std::expected<MCPSocketClient::Answer, MCPSocketClient::Failure> outcome) {
    const auto write = [&] {
        if (!outcome) return errorLine(id, outcome.error().description());
        return match(
            *std::move(outcome), [&](Bytes result) { return resultLine(id, std::move(result)); },
            [&](const MCPWireError& error) { return errorLine(id, error.description()); });
    };
    return withinMemory(write, [&] { return lineOf(outOfMemoryError(std::move(id))); });
}

/// The lines of some reports. If there is not enough memory for them, they are lost, and the call continues.
Bytes progressLines(const MCPProgressReports& reports, const MCPNotification& notification) {
    return withinMemory([&] { return reports.lines(notification); }, [] { return Bytes{}; });
}

} // namespace

Task<void> MCPCallProxy::handle(MCPIncoming incoming, MCPClientInfo clientInfo, TextArguments arguments) {
    if (!MCPDispatchLogic::isForApplication(incoming)) co_return;
    if (auto* request = std::get_if<MCPRequest>(&incoming.is)) {
        co_return co_await startCall(std::move(*request), std::move(clientInfo), std::move(arguments));
    }
    std::optional<std::string> key;
    const auto copyKey = [&] { key = cancelledKey(std::get<MCPNotification>(incoming.is)); };
    if (!hasMemoryFor(copyKey)) co_return co_await sendText(dependencies_.standardOutput, outOfMemoryLine());
    if (key) co_await cancelCall(*std::move(key));
}

Task<void> MCPCallProxy::startCall(MCPRequest request, MCPClientInfo clientInfo, TextArguments textArguments) {
    const MCPValue& params = orNull(request.params);
    const auto tool = params.string("name");
    if (!tool) {
        auto error = MCPError::invalidParams("tools/call requires params.name");
        auto refusal = MCPResponse::failure(std::move(request.id), std::move(error));
        co_return co_await sendLine(dependencies_.standardOutput, refusal);
    }
    const MCPValue* arguments = params.find("arguments");
    const auto fresh = dependencies_.makeUUID();
    if (!fresh) {
        auto failure = internalError(
            std::move(request.id),
            "The call could not be sent because the system has no random numbers: " + fresh.error().systemText() + ".");
        co_return co_await sendLine(dependencies_.standardOutput, failure);
    }
    MCPSocketClient::Call toSend{
        .request{
            .protocolVersion = wireProtocolVersion,
            .clientInfo = std::move(clientInfo),
            .tool = {},
            .arguments = arguments != nullptr ? *arguments : MCPValue::object({}),
            .requestID = {},
        },
        .arguments = std::move(textArguments),
    };
    co_await isolated();
    const auto copyNames = [&] {
        toSend.request.tool = *tool;
        toSend.request.requestID = registry_.registerCall(request.id.text(), progressToken(request), *fresh);
    };
    if (!hasMemoryFor(copyNames)) {
        registry_.finish(fresh->text());
        auto failure = outOfMemoryError(std::move(request.id));
        co_return co_await sendLine(dependencies_.standardOutput, failure);
    }
    CallIdentity call{.requestID = std::move(request.id), .wireID = toSend.request.requestID};
    // Frees this copy: large arguments must exist only in `toSend` from here on.
    request = {};

    auto cancellation = std::make_shared<CallCancellation>();
    tasks_.insert_or_assign(call.wireID, cancellation);
    spawn(run(weak_from_this(), dependencies_, std::move(call), std::move(toSend), std::move(cancellation)),
          dependencies_.calls);
}

Task<void> MCPCallProxy::run(std::weak_ptr<MCPCallProxy> weakProxy, Dependencies dependencies, CallIdentity call,
                             MCPSocketClient::Call toSend, Cancellation cancellation) {
    Executor& calls = dependencies.calls;
    // Needs no memory, because it only refers to this coroutine, which awaits the call.
    MCPSocketClient::Progress progress = [&weakProxy, &calls](std::vector<MCPProgressReports> reports) {
        spawn(relay(weakProxy, std::move(reports)), calls);
    };
    auto outcome = co_await dependencies.socketClient.send(std::move(toSend), std::move(progress), cancellation);
    const auto proxy = weakProxy.lock();
    if (!proxy) co_return;
    auto line = responseLine(std::move(call.requestID), std::move(outcome));
    const std::size_t length = line.size();
    co_await proxy->finish(std::move(call.wireID), std::move(line), std::move(cancellation));
    dependencies.memory.release(length);
}

Task<void> MCPCallProxy::finish(std::string wireID, Bytes answer, Cancellation cancellation) {
    co_await isolated();
    // A cancelled call does not wait for the writer. The writer asks again before the line begins.
    if (registry_.shouldSendResponse(wireID)) {
        auto gate = linesOf(cancellation);
        // A response that cannot be written is dropped, because the client is gone.
        std::ignore = co_await dependencies_.standardOutput.send(std::move(answer), std::move(gate));
    }
    tasks_.erase(wireID);
    registry_.finish(wireID);
}

Task<void> MCPCallProxy::relay(std::weak_ptr<MCPCallProxy> weakProxy, std::vector<MCPProgressReports> progress) {
    const auto proxy = weakProxy.lock();
    if (proxy) co_await proxy->forward(std::move(progress));
}

Task<void> MCPCallProxy::forward(std::vector<MCPProgressReports> progress) {
    co_await isolated();
    for (const MCPProgressReports& reports : progress) {
        const auto notification = registry_.progressNotification(reports.requestID(), 0, {});
        if (!notification) continue;
        auto lines = progressLines(reports, *notification);
        // The call is in `tasks_`, because it is in the registry. Both always hold the same calls.
        auto gate = linesOf(tasks_.at(reports.requestID()));
        const std::size_t length = lines.size();
        std::ignore = co_await dependencies_.standardOutput.send(std::move(lines), std::move(gate));
        dependencies_.memory.release(length);
    }
}

Task<void> MCPCallProxy::cancelCall(std::string externalKey) {
    co_await isolated();
    auto wireID = registry_.wireID(externalKey);
    if (!wireID) co_return;
    registry_.cancel(*wireID);
    const auto task = tasks_.find(*wireID);
    if (task == tasks_.end() || !task->second->cancel()) co_return;
    // Not awaited, because an application that hangs would block the server loop.
    dependencies_.pendingCancellations.add();
    spawn(tellApplication(dependencies_, *std::move(wireID), task->second), dependencies_.calls);
}

Task<void> MCPCallProxy::tellApplication(Dependencies dependencies, std::string wireID, Cancellation cancellation) {
    co_await cancellation->requestIsOut();
    dependencies.pendingCancellations.released();
    co_await dependencies.socketClient.cancel(std::move(wireID), dependencies.pendingCancellations);
    dependencies.pendingCancellations.remove();
}

} // namespace vostel_mcp
