#include "kit/wire/MCPWireAnswer.h"

#include "kit/tools/MCPCallResult.h"
#include "kit/wire/MCPWireFraming.h"

#include <utility>

namespace VostelMCPKit::MCPWireAnswer {

namespace {

constexpr std::size_t longestFrame = MCPWireFraming::headerLength + MCPWireFraming::maxFrameLength;

} // namespace

Bytes encode(const MCPWireResponse& response) {
    auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{response});
    if (bytes && bytes->size() <= longestFrame) return *std::move(bytes);
    const char* reason =
        bytes ? "The result is too large to be sent." : "The result holds a number that is not finite.";
    return encode(response.requestID, MCPToolOutcome::failed(reason));
}

Bytes encode(std::string requestID, const MCPToolOutcome& outcome) {
    return encode(MCPWireResponse{std::move(requestID), VostelMCPKit::encode(MCPCallResult::rendering(outcome))});
}

} // namespace VostelMCPKit::MCPWireAnswer
