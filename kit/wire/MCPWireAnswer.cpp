#include "kit/wire/MCPWireAnswer.h"

#include "kit/tools/MCPCallResult.h"
#include "kit/wire/MCPWireFraming.h"

#include <utility>

namespace VostelMCPKit::MCPWireAnswer {

namespace {

constexpr std::size_t longestFrame = MCPWireFraming::headerLength + MCPWireFraming::maxFrameLength;

MCPWireResponse rendered(std::string requestID, const MCPToolOutcome& outcome) {
    return {std::move(requestID), VostelMCPKit::encode(MCPCallResult::rendering(outcome))};
}

} // namespace

Bytes encode(const MCPWireResponse& response) {
    auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{response});
    if (bytes && bytes->size() <= longestFrame) return *std::move(bytes);
    const char* reason =
        bytes ? "The result is too large to be sent." : "The result holds a number that is not finite.";
    // This failure holds no number. It is too large only if the peer's own id is. The peer refuses it then.
    auto failure =
        MCPWireFraming::encode(MCPWireOutboundFrame{rendered(response.requestID, MCPToolOutcome::failed(reason))});
    return failure ? *std::move(failure) : Bytes{};
}

Bytes encode(std::string requestID, const MCPToolOutcome& outcome) {
    return encode(rendered(std::move(requestID), outcome));
}

} // namespace VostelMCPKit::MCPWireAnswer
