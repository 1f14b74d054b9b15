#include "kit/jsonrpc/MCPLine.h"

#include "kit/jsonrpc/MCPMessages.h"

#include <string_view>
#include <tuple>

namespace VostelMCPKit {

Bytes resultLine(const MCPRequestID& id, Bytes result) {
    // The result is the last member of a response. So the text around a null is the text around every result.
    constexpr std::string_view placeholder = "null";
    constexpr std::string_view end = "}\n";
    Bytes envelope;
    std::ignore = appendLine(MCPResponse::result(id, nullptr), envelope);
    envelope.truncate(envelope.size() - placeholder.size() - end.size());
    result.prepend(envelope.text());
    result.append(end);
    return result;
}

} // namespace VostelMCPKit
