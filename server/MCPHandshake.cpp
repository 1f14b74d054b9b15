#include "server/MCPHandshake.h"

#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/MCPTextCall.h"
#include "kit/support/Unicode.h"
#include "kit/support/outOfMemory.h"
#include "server/sendLine.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

namespace {

/// A line of at least this many bytes is handled as text if possible, because its MCPValue would take much memory.
constexpr std::size_t largeLine = 65'536;

/// A message. The arguments of a large call are separate, and null in the message.
struct Received {
    MCPIncoming incoming;
    MCPCallProxy::TextArguments arguments = {};
};

/// Whether the line is an array. Its elements do not matter, because a batch is refused. False for a few arrays that
/// can only be read as a value.
bool isBatch(std::string_view line) {
    const std::string_view text = trimmed(line);
    Bytes ignored;
    return text.starts_with('[') && appendCanonicalJSON(text, ignored);
}

Received received(const std::string& line) {
    if (line.size() >= largeLine) {
        if (auto call = readTextCall(line)) return {{std::move(call->request)}, std::move(call->arguments)};
        if (isBatch(line)) return {{MCPIncoming::Batch{}}};
    }
    return {MCPDispatchLogic::classify(line)};
}

/// If there is not enough memory for the line, the answer has no id, as for a line that is not JSON.
Received receivedWithinMemory(const std::string& line) {
    return withinMemory([&] { return received(line); },
                        [] {
                            auto error = MCPError::internalError("There is not enough memory for this message.");
                            return Received{{MCPIncoming::Malformed{std::move(error)}}};
                        });
}

} // namespace

Task<void> MCPHandshake::serve() {
    for (;;) {
        auto line = co_await lines_.next();
        if (!line) co_return;
        const std::size_t length = line->size();
        co_await handle(*std::move(line));
        memory_.release(length);
    }
}

Task<void> MCPHandshake::handle(std::string line) {
    auto [incoming, arguments] = receivedWithinMemory(line);
    // Frees the line, which may have many megabytes. The message holds everything that is still needed.
    std::string{}.swap(line);
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request != nullptr && request->method == MCPDispatchLogic::initializeMethod) {
        if (auto info = MCPDispatchLogic::clientInfo(*request)) clientInfo_ = *std::move(info);
    }
    MCPHelperRoute route = MCPDispatchLogic::route(incoming, youTubeAvailable_);
    incoming = {};
    if (auto* reply = std::get_if<MCPHelperRoute::Reply>(&route.is)) {
        co_await sendLine(standardOutput_, reply->response);
    } else if (const auto* error = std::get_if<MCPHelperRoute::ReplyWithoutID>(&route.is)) {
        auto message = MCPDispatchLogic::frameWithoutID(error->error);
        co_await sendLine(standardOutput_, message);
    } else if (auto* message = std::get_if<MCPHelperRoute::ForwardToApplication>(&route.is)) {
        co_await forward(std::move(message->incoming), std::move(arguments));
    }
}

Task<void> MCPHandshake::forward(MCPIncoming incoming, MCPCallProxy::TextArguments arguments) {
    if (forwarding_) {
        co_return co_await (*forwarding_)->handle(std::move(incoming), clientInfo_, std::move(arguments));
    }
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr) co_return;
    auto error = MCPError::internalError(forwarding_.error().errorDescription());
    auto failure = MCPResponse::failure(request->id, std::move(error));
    co_await sendLine(standardOutput_, failure);
}

} // namespace vostel_mcp
