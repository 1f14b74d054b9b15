// The error object of JSON-RPC 2.0.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <cstdint>
#include <optional>
#include <string>

namespace VostelMCPKit {

/// A plain value, hashable: `return MCPError::invalidParams("path is missing");`
struct MCPError {
    /// The codes of JSON-RPC 2.0, section 5.1: the text is not JSON; the JSON is not a message; there is no such
    /// method; the params are wrong; the request was right and still failed.
    static constexpr std::int64_t parseErrorCode = -32700;
    static constexpr std::int64_t invalidRequestCode = -32600;
    static constexpr std::int64_t methodNotFoundCode = -32601;
    static constexpr std::int64_t invalidParamsCode = -32602;
    static constexpr std::int64_t internalErrorCode = -32603;

    std::int64_t code = 0;
    /// One sentence in English, which clients may show to the user.
    std::string message;
    /// Anything else that the client should know; left out when absent. Null reads as absent.
    std::optional<MCPValue> data;

    /// An error with the code that its name says.
    [[nodiscard]] static MCPError parseError(std::string message, std::optional<MCPValue> data = {});
    [[nodiscard]] static MCPError invalidRequest(std::string message, std::optional<MCPValue> data = {});
    [[nodiscard]] static MCPError methodNotFound(std::string message, std::optional<MCPValue> data = {});
    [[nodiscard]] static MCPError invalidParams(std::string message, std::optional<MCPValue> data = {});
    [[nodiscard]] static MCPError internalError(std::string message, std::optional<MCPValue> data = {});

    static void codingKeys(auto& self, auto& key) {
        key("code", self.code);
        key("message", self.message);
        key("data", self.data);
    }

    bool operator==(const MCPError&) const = default;
};

} // namespace VostelMCPKit
