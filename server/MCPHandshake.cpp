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

/// The content of one line.
struct Received {
    /// The line to reply with; empty when the loop does not reply.
    Bytes reply;
    /// A message for the application.
    std::optional<MCPIncoming> forApplication = {};
    /// Who sent it.
    MCPClientInfo sender = {};
    /// The arguments of a large call. They are null in the message.
    MCPCallProxy::TextArguments arguments = {};
    /// The client's identity, from an initialize that names the client.
    std::optional<MCPClientInfo> clientInfo = {};
};

/// Whether the line is an array. Its elements do not matter, because a batch is refused. False for a few arrays that
/// can only be read as a value.
bool isBatch(std::string_view line) {
    const std::string_view text = trimmed(line);
    Bytes ignored;
    return text.starts_with('[') && appendCanonicalJSON(text, ignored);
}

MCPIncoming incomingIn(const std::string& line, MCPCallProxy::TextArguments& arguments) {
    if (line.size() >= largeLine) {
        if (auto call = readTextCall(line)) {
            arguments = std::move(call->arguments);
            return {std::move(call->request)};
        }
        if (isBatch(line)) return {MCPIncoming::Batch{}};
    }
    return MCPDispatchLogic::classify(line);
}

Received received(const std::string& line, const MCPClientInfo& sender, bool youTubeAvailable) {
    Received received;
    MCPIncoming incoming = incomingIn(line, received.arguments);
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request != nullptr && request->method == MCPDispatchLogic::initializeMethod) {
        received.clientInfo = MCPDispatchLogic::clientInfo(*request);
    }
    MCPHelperRoute route = MCPDispatchLogic::route(std::move(incoming), youTubeAvailable);
    if (const auto* reply = std::get_if<MCPHelperRoute::Reply>(&route.is)) {
        received.reply = lineOf(reply->response);
    } else if (const auto* error = std::get_if<MCPHelperRoute::ReplyWithoutID>(&route.is)) {
        received.reply = lineOf(MCPDispatchLogic::frameWithoutID(error->error));
    } else if (auto* message = std::get_if<MCPHelperRoute::ForwardToApplication>(&route.is)) {
        received.forApplication = std::move(message->incoming);
        received.sender = sender;
    }
    return received;
}

Received receivedWithinMemory(const std::string& line, const MCPClientInfo& sender, bool youTubeAvailable) {
    return withinMemory([&] { return received(line, sender, youTubeAvailable); },
                        [] { return Received{.reply = outOfMemoryLine()}; });
}

} // namespace

Task<void> MCPHandshake::serve() {
    for (;;) {
        auto line = co_await lines_.next();
        if (!line) co_return;
        // Even an empty line takes memory in the queue.
        const std::size_t size = sizeof *line + line->size();
        co_await handle(*std::move(line));
        memory_.release(size);
    }
}

Task<void> MCPHandshake::handle(std::string line) {
    Received received = receivedWithinMemory(line, clientInfo_, youTubeAvailable_);
    // Frees the line, which may have many megabytes. `received` holds everything that is still needed.
    std::string{}.swap(line);
    if (received.clientInfo) clientInfo_ = *std::move(received.clientInfo);
    if (received.reply.size() > 0) co_await sendText(standardOutput_, std::move(received.reply));
    if (!received.forApplication) co_return;
    MCPIncoming& message = *received.forApplication;
    if (forwarding_) {
        co_return co_await (*forwarding_)
            ->handle(std::move(message), std::move(received.sender), std::move(received.arguments));
    }
    auto* request = std::get_if<MCPRequest>(&message.is);
    if (request == nullptr) co_return;
    auto error = MCPError::internalError(forwarding_.error().errorDescription());
    auto failure = MCPResponse::failure(std::move(request->id), std::move(error));
    co_await sendLine(standardOutput_, failure);
}

} // namespace vostel_mcp
