// The records that vostel-mcp and the application exchange over the socket. Each frame carries one JSON document: an
// inbound frame to the application, an outbound frame back. The directions are the application's point of view.
//
// All records are values: copies are independent, and large payloads are shared, not copied. All text is UTF-8.
// MCPWireFraming::encode turns a frame into bytes; readInboundFrame and readOutboundFrame turn a payload into a frame.
//
//     const MCPWireOutboundFrame answer{MCPWireResponse{request.requestID, encode(result)}};
#pragma once

#include "kit/jsonrpc/Hashing.h"
#include "kit/wire/MCPClientInfo.h"
#include "kit/wire/MCPWireError.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace VostelMCPKit {

/// One tool call.
struct MCPWireRequest {
    static constexpr std::string_view kind = "request";
    /// The sender's wireProtocolVersion.
    std::int64_t protocolVersion = 0;
    /// The AI client for which the tool runs.
    MCPClientInfo clientInfo;
    /// The tool's name.
    std::string tool;
    /// As the client gave them; an empty object when it gave none.
    MCPValue arguments;
    /// The wire id of the call: an upper-case UUID. The client's JSON-RPC id never crosses the socket.
    std::string requestID;

    static void codingKeys(auto& self, auto& key) {
        key("protocolVersion", self.protocolVersion);
        key("clientInfo", self.clientInfo);
        key("tool", self.tool);
        key("arguments", self.arguments);
        key("requestID", self.requestID);
    }

    bool operator==(const MCPWireRequest&) const = default;
};

/// The client gave up on a call; the application stops its work.
struct MCPWireCancellation {
    static constexpr std::string_view kind = "cancellation";
    /// The sender's wireProtocolVersion.
    std::int64_t protocolVersion = 0;
    /// That of the request to stop.
    std::string requestID;

    static void codingKeys(auto& self, auto& key) {
        key("protocolVersion", self.protocolVersion);
        key("requestID", self.requestID);
    }

    bool operator==(const MCPWireCancellation&) const = default;
};

/// Interim progress of a running call.
struct MCPWireProgress {
    static constexpr std::string_view kind = "progress";
    /// That of the running request.
    std::string requestID;
    /// The fraction of the work that is done, 0 to 1. Finite.
    double fraction = 0;
    /// For the user.
    std::optional<std::string> message;

    static void codingKeys(auto& self, auto& key) {
        key("requestID", self.requestID);
        key("fraction", self.fraction);
        key("message", self.message);
    }

    bool operator==(const MCPWireProgress&) const = default;
};

/// The end of a call.
struct MCPWireResponse {
    static constexpr std::string_view kind = "response";
    /// The complete tools/call result, or why the application refused the call as such.
    using Outcome = std::variant<MCPValue, MCPWireError>;

    /// That of the request; empty when the request could not be read.
    std::string requestID;
    /// Read it with match, or ask std::get_if.
    Outcome outcome;

    static void codingKeys(auto& self, auto& key) {
        key("requestID", self.requestID);
        key.exactlyOne("result", "error", self.outcome,
                       "Ответ провода обязан нести либо result, либо error, но не оба и не ни одного");
    }

    bool operator==(const MCPWireResponse&) const = default;
};

/// What the application receives.
struct MCPWireInboundFrame {
    std::variant<MCPWireRequest, MCPWireCancellation> is;

    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", "payload", self.is); }

    bool operator==(const MCPWireInboundFrame&) const = default;
};

/// What vostel-mcp receives.
struct MCPWireOutboundFrame {
    std::variant<MCPWireProgress, MCPWireResponse> is;

    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", "payload", self.is); }

    bool operator==(const MCPWireOutboundFrame&) const = default;
};

} // namespace VostelMCPKit
