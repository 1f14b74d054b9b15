#include "server/MCPHandshake.h"

#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/support/outOfMemory.h"
#include "server/sendLine.h"

namespace vostel_mcp {

using namespace VostelMCPKit;

namespace {

/// A line that takes more memory than there is has an answer without an id, like one that is not JSON.
MCPIncoming classified(const std::string& line) {
    return withinMemory([&] { return MCPDispatchLogic::classify(line); },
                        [] {
                            auto error = MCPError::internalError("There is not enough memory for this message.");
                            return MCPIncoming{MCPIncoming::Malformed{std::move(error)}};
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
    MCPIncoming incoming = classified(line);
    // A line may be many megabytes long, and the message holds all of it that counts.
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
        co_await forward(std::move(message->incoming));
    }
}

Task<void> MCPHandshake::forward(MCPIncoming incoming) {
    if (forwarding_) co_return co_await (*forwarding_)->handle(std::move(incoming), clientInfo_);
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr) co_return;
    auto error = MCPError::internalError(forwarding_.error().errorDescription());
    auto failure = MCPResponse::failure(request->id, std::move(error));
    co_await sendLine(standardOutput_, failure);
}

} // namespace vostel_mcp
