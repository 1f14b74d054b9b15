#include "fuzz/fuzz.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/MCPTextCall.h"

#include <tuple>

using namespace VostelMCPKit;

namespace {

MCPIncoming classifyAgain(const MCPValue& message) { return MCPDispatchLogic::classify(written(message)); }

/// Reading a call as text must give the same call as reading it as a value.
void checkTextCall(std::string_view line, const MCPIncoming& incoming) {
    const auto call = readTextCall(line);
    if (!call) return;
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    require(request != nullptr && MCPDispatchLogic::isForApplication(incoming), "only a call is read as text");
    require(call->request.id == request->id && call->request.method == request->method, "it is the same call");
    std::vector<MCPValue::Member> members;
    for (const MCPValue::Member& member : orNull(request->params).members()) {
        const bool isArguments = member.key() == "arguments";
        if (isArguments) require(call->arguments.text() == written(member.value), "the text is that of the arguments");
        members.emplace_back(member.key(), isArguments ? MCPValue{} : member.value);
    }
    require(call->request.params == MCPValue::object(members), "the other params are the same");
}

} // namespace

void check(std::string_view line) {
    const MCPIncoming incoming = MCPDispatchLogic::classify(line);
    checkTextCall(line, incoming);
    require(MCPDispatchLogic::classify(" \t" + std::string{line} + "\r\n") == incoming,
            "white space around a line does not matter");
    const std::hash<MCPIncoming> hash;
    require(hash(incoming) == hash(MCPDispatchLogic::classify(line)), "equal lines hash equally");

    match(
        incoming.is,
        [](const MCPRequest& request) {
            const MCPIncoming again = classifyAgain(encode(request));
            const auto* same = std::get_if<MCPRequest>(&again.is);
            require(same != nullptr && same->id == request.id && same->method == request.method,
                    "a request that is written is the same request");
        },
        [](const MCPNotification& notification) {
            const MCPIncoming again = classifyAgain(encode(notification));
            const auto* same = std::get_if<MCPNotification>(&again.is);
            require(same != nullptr && same->method == notification.method,
                    "a notification that is written is the same notification");
        },
        [](const MCPIncoming::Batch& batch) {
            const MCPIncoming again = classifyAgain(encode(batch.elements));
            const auto* same = std::get_if<MCPIncoming::Batch>(&again.is);
            require(same != nullptr && same->elements.size() == batch.elements.size(), "a batch keeps its elements");
        },
        [&](const MCPIncoming::Malformed& malformed) {
            const bool isJSON = readJSON(line).has_value();
            const MCPError error =
                isJSON ? MCPError::invalidRequest("Invalid Request") : MCPError::parseError("Parse error");
            // classify also removes white space that JSON does not allow, so text that is not JSON can give either
            // error.
            require(malformed.error == error || (!isJSON && malformed.error.message == "Invalid Request"),
                    "a malformed line is not JSON or not a message");
        },
        [&](const MCPIncoming::Empty&) { require(!readJSON(line), "an empty line holds no value"); });

    // The server can always write its own answers.
    if (const auto response = MCPDispatchLogic::handshakeResponse(incoming, /*youTubeAvailable=*/true)) {
        std::ignore = written(encode(*response));
    }
    std::ignore = MCPDispatchLogic::route(incoming, /*youTubeAvailable=*/false);
}
