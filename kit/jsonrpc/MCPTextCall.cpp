#include "kit/jsonrpc/MCPTextCall.h"

#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/TextMember.h"

#include <utility>

namespace VostelMCPKit {

std::optional<MCPTextCall> readTextCall(std::string_view line) {
    auto arguments = findTextMember(line, "params", "arguments");
    if (!arguments) return std::nullopt;
    MCPIncoming incoming = MCPDispatchLogic::classify(arguments->remainder);
    auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr || !MCPDispatchLogic::isForApplication(incoming)) return std::nullopt;
    return MCPTextCall{std::move(*request), std::move(arguments->value)};
}

} // namespace VostelMCPKit
