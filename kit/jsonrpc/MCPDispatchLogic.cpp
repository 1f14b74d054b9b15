#include "kit/jsonrpc/MCPDispatchLogic.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/Unicode.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "kit/wire/MCPWireVersionLogic.h"

#include <algorithm>

namespace VostelMCPKit::MCPDispatchLogic {

namespace {

MCPIncoming malformed(MCPError error) { return {MCPIncoming::Malformed{std::move(error)}}; }

template <class Message>
MCPIncoming decodedAs(const MCPValue& value) {
    auto message = decode<Message>(value);
    if (!message) return malformed(MCPError::invalidRequest("Invalid Request"));
    return {*std::move(message)};
}

MCPValue initializeResult(const MCPRequest& request) {
    const std::string_view requested = orNull(request.params).string("protocolVersion").value_or("");
    return MCPValue::object({
        {"protocolVersion", negotiate(requested)},
        {"capabilities", MCPValue::object({{"tools", MCPValue::object({{"listChanged", false}})}})},
        {"serverInfo", MCPValue::object({{"name", "vostel-mcp"}, {"version", std::to_string(wireProtocolVersion)}})},
    });
}

MCPValue discoverResult() {
    const std::vector<MCPValue> versions{knownRevisions.begin(), knownRevisions.end()};
    return MCPValue::object({{"versions", MCPValue::array(versions)}});
}

} // namespace

MCPIncoming classify(std::string_view line) {
    const std::string_view text = trimmed(line);
    if (text.empty()) return {MCPIncoming::Empty{}};
    const auto value = readJSON(text);
    if (!value) return malformed(MCPError::parseError("Parse error"));
    if (const auto elements = value->asArray()) {
        return {MCPIncoming::Batch{{elements->begin(), elements->end()}}};
    }
    if (value->kind() != MCPValue::Kind::Object) return malformed(MCPError::invalidRequest("Invalid Request"));
    // The presence of the key decides, whatever it holds: an id of null makes a bad request, not a notification.
    return (*value)["id"] != nullptr ? decodedAs<MCPRequest>(*value) : decodedAs<MCPNotification>(*value);
}

bool isForApplication(const MCPIncoming& incoming) {
    if (const auto* request = std::get_if<MCPRequest>(&incoming.is)) return request->method == applicationMethod;
    const auto* notification = std::get_if<MCPNotification>(&incoming.is);
    return notification != nullptr && notification->method == applicationNotification;
}

MCPHelperRoute route(MCPIncoming incoming, bool youTubeAvailable) {
    using Route = MCPHelperRoute;
    if (isForApplication(incoming)) return {Route::ForwardToApplication{std::move(incoming)}};
    return match(
        incoming.is,
        [&](const MCPRequest& request) { return Route{Route::Reply{handshakeResponse(request, youTubeAvailable)}}; },
        [](const MCPNotification&) { return Route{Route::Ignore{}}; },
        [](const MCPIncoming::Batch&) {
            return Route{Route::ReplyWithoutID{MCPError::invalidRequest("Batch requests are not supported")}};
        },
        [](const MCPIncoming::Malformed& line) { return Route{Route::ReplyWithoutID{line.error}}; },
        [](const MCPIncoming::Empty&) { return Route{Route::Ignore{}}; });
}

MCPResponse handshakeResponse(const MCPRequest& request, bool youTubeAvailable) {
    if (request.method == initializeMethod) return MCPResponse::result(request.id, initializeResult(request));
    if (request.method == "tools/list") {
        return MCPResponse::result(request.id,
                                   MCPValue::object({{"tools", MCPToolCatalogue::encodedTools(youTubeAvailable)}}));
    }
    if (request.method == "server/discover") return MCPResponse::result(request.id, discoverResult());
    return MCPResponse::failure(request.id, MCPError::methodNotFound("Method not found: " + request.method));
}

std::optional<MCPResponse> handshakeResponse(const MCPIncoming& incoming, bool youTubeAvailable) {
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr) return std::nullopt;
    return handshakeResponse(*request, youTubeAvailable);
}

std::string_view negotiate(std::string_view requested) {
    const auto known = std::ranges::find(knownRevisions, requested);
    return known != knownRevisions.end() ? *known : ourRevision;
}

std::optional<MCPClientInfo> clientInfo(const MCPRequest& fromInitialize) {
    const MCPValue& params = orNull(fromInitialize.params);
    const auto name = params.string("clientInfo", "name");
    if (!name) return std::nullopt;
    MCPClientInfo result{std::string{*name}, std::nullopt};
    if (const auto version = params.string("clientInfo", "version")) result.version = *version;
    return result;
}

MCPValue frameWithoutID(const MCPError& error) {
    MCPValue encoded = encode(error);
    Bytes text;
    if (!writeJSON(encoded, text)) encoded = MCPValue::object({});
    return MCPValue::object({{"jsonrpc", "2.0"}, {"id", nullptr}, {"error", std::move(encoded)}});
}

} // namespace VostelMCPKit::MCPDispatchLogic
