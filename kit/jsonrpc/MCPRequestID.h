// The identifier of a JSON-RPC 2.0 request: a string or a 64-bit integer, never equal to each other.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <cstdint>
#include <string>
#include <variant>

namespace VostelMCPKit {

struct MCPRequestID {
    std::variant<std::string, std::int64_t> is;

    MCPRequestID() = default;
    MCPRequestID(std::string string) : is{std::move(string)} {}
    MCPRequestID(const char* string) : is{std::string{string}} {}
    MCPRequestID(std::integral auto number) : is{static_cast<std::int64_t>(number)} {}

    /// A number in decimal, a string as it is. Deliberate: the number 5 and the string "5" share one text.
    [[nodiscard]] std::string text() const;

    bool operator==(const MCPRequestID&) const = default;
};

template <>
struct Codec<MCPRequestID> {
    static MCPValue encode(const MCPRequestID& id);
    static std::expected<MCPRequestID, DecodingError> decode(const MCPValue& value);
};

} // namespace VostelMCPKit

template <>
struct std::hash<VostelMCPKit::MCPRequestID> {
    std::size_t operator()(const VostelMCPKit::MCPRequestID& id) const noexcept {
        return std::hash<decltype(id.is)>{}(id.is);
    }
};
