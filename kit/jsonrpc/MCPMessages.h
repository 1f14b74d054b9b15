// The JSON-RPC 2.0 messages exchanged with the AI client: plain values, hashable, safe on any thread.
//
//     Bytes line;
//     if (appendLine(MCPResponse::result(request.id, value), line)) send(std::move(line));
//
// Deliberate: when reading, any text of `jsonrpc` is accepted, and missing params become JSON null. The identifier is
// checked strictly, and a response must have either a result or an error.
#pragma once

#include "kit/jsonrpc/Hashing.h"
#include "kit/jsonrpc/MCPError.h"
#include "kit/jsonrpc/MCPRequestID.h"

#include <optional>
#include <string>
#include <variant>

namespace VostelMCPKit {

/// A message that expects a response.
struct MCPRequest {
    /// Chosen by the sender; the response repeats it.
    MCPRequestID id;
    /// Such as "tools/call".
    std::string method;
    /// Present after reading, as null when the message has none; see orNull.
    std::optional<MCPValue> params;

    static void codingKeys(auto& self, auto& key) {
        key.constant("jsonrpc", "2.0");
        key("id", self.id);
        key("method", self.method);
        key.absentAsNull("params", self.params);
    }

    bool operator==(const MCPRequest&) const = default;
};

/// A message without an identifier. It is never answered.
struct MCPNotification {
    /// Such as "notifications/progress".
    std::string method;
    /// As in MCPRequest.
    std::optional<MCPValue> params;

    static void codingKeys(auto& self, auto& key) {
        key.constant("jsonrpc", "2.0");
        key("method", self.method);
        key.absentAsNull("params", self.params);
    }

    bool operator==(const MCPNotification&) const = default;
};

/// The answer to a request.
struct MCPResponse {
    /// The result, any JSON, or the error.
    using Outcome = std::variant<MCPValue, MCPError>;

    /// That of the request.
    MCPRequestID id;
    /// Read it with match, or ask std::get_if.
    Outcome outcome;

    /// The answer to a request that was carried out.
    [[nodiscard]] static MCPResponse result(MCPRequestID id, MCPValue value) {
        return {std::move(id), std::move(value)};
    }
    /// The answer to a request that failed.
    [[nodiscard]] static MCPResponse failure(MCPRequestID id, MCPError error) {
        return {std::move(id), std::move(error)};
    }

    static void codingKeys(auto& self, auto& key) {
        key.constant("jsonrpc", "2.0");
        key("id", self.id);
        key.exactlyOne("result", "error", self.outcome,
                       "Ответ обязан нести либо result, либо error, но не оба и не ни одного");
    }

    bool operator==(const MCPResponse&) const = default;
};

} // namespace VostelMCPKit
