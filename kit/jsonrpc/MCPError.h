// The error object of JSON-RPC 2.0.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <cstdint>
#include <optional>
#include <string>

namespace VostelMCPKit {

/// A plain value, hashable: `return MCPError::invalidParams("path is missing");`
struct MCPError {
    // The codes of JSON-RPC 2.0, section 5.1.

    /// The text is not JSON.
    static constexpr std::int64_t parseErrorCode = -32700;
    /// The JSON is not a message.
    static constexpr std::int64_t invalidRequestCode = -32600;
    /// There is no such method.
    static constexpr std::int64_t methodNotFoundCode = -32601;
    /// The params are missing or wrong.
    static constexpr std::int64_t invalidParamsCode = -32602;
    /// The request was right and still failed.
    static constexpr std::int64_t internalErrorCode = -32603;

    /// One of the above, or a code of the application's own.
    std::int64_t code = 0;
    /// One sentence in English, which clients may show to the user.
    std::string message;
    /// Anything else that the client should know; left out when absent. Null reads as absent.
    std::optional<MCPValue> data;

    // Errors with the code of the same name. `data` is any further JSON for the client.

    /// "The line is not JSON."
    [[nodiscard]] static MCPError parseError(std::string message, std::optional<MCPValue> data = {});
    /// "A batch is not supported."
    [[nodiscard]] static MCPError invalidRequest(std::string message, std::optional<MCPValue> data = {});
    /// "There is no method named ping."
    [[nodiscard]] static MCPError methodNotFound(std::string message, std::optional<MCPValue> data = {});
    /// "path is missing."
    [[nodiscard]] static MCPError invalidParams(std::string message, std::optional<MCPValue> data = {});
    /// "The file could not be read."
    [[nodiscard]] static MCPError internalError(std::string message, std::optional<MCPValue> data = {});

    static void codingKeys(auto& self, auto& key) {
        key("code", self.code);
        key("message", self.message);
        key("data", self.data);
    }

    bool operator==(const MCPError&) const = default;
};

} // namespace VostelMCPKit
