// The identifier of a JSON-RPC 2.0 request: a string or a 64-bit integer. A string never equals an integer.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>

namespace VostelMCPKit {

/// A plain value, hashable. Built from exactly a string or a signed integer: `MCPRequestID id = 7;`
struct MCPRequestID {
    std::variant<std::string, std::int64_t> is;

    /// The empty string.
    MCPRequestID() = default;
    /// Copies the text before it enters `is`. The variant of libstdc++ 12 crashes when its own copy runs out of memory.
    MCPRequestID(const MCPRequestID& other);
    MCPRequestID& operator=(const MCPRequestID& other) { return *this = MCPRequestID{other}; }
    MCPRequestID(MCPRequestID&&) noexcept = default;
    MCPRequestID& operator=(MCPRequestID&&) noexcept = default;
    ~MCPRequestID() = default;
    /// Exactly a std::string.
    template <std::same_as<std::string> String>
    MCPRequestID(String string) : is{std::move(string)} {}
    /// A literal, or an array of characters up to its first NUL. A pointer is refused, because it might be null.
    template <std::size_t size>
    MCPRequestID(const char (&literal)[size]) : is{std::string{literal, std::find(literal, literal + size, '\0')}} {}
    /// Booleans, characters and unsigned integers are refused, because the conversion could change their value.
    template <MCPInteger Integer>
        requires std::signed_integral<Integer>
    MCPRequestID(Integer number) : is{std::int64_t{number}} {}

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
