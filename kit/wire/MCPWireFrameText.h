// The text of a frame's payload, read into the frame. Each side of the socket reads what the other one sends.
//
// Both functions are thread-safe and keep no state. What they return shares nothing with `payload`.
#pragma once

#include "kit/wire/MCPWireFrames.h"

#include <expected>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

/// Why a payload is not a frame that the application can serve.
struct MCPWireInboundFailure {
    /// Either the payload is not an inbound frame: there is nobody to answer, so close the connection. Or it is a
    /// request of another protocol version: send the response, then close the connection.
    std::variant<DecodingError, MCPWireResponse> is;

    bool operator==(const MCPWireInboundFailure&) const = default;
};

/// For the application. The version is judged before the rest of the request is decoded, because another version may
/// give a request another shape. Deliberate: a cancellation of another version is not refused for its version, because
/// nothing can answer it.
[[nodiscard]] std::expected<MCPWireInboundFrame, MCPWireInboundFailure> readInboundFrame(std::string_view payload);

/// For vostel-mcp. The result equals that of readJSON and decode. Progress comes by the hundred thousand, always in the
/// same form, and is therefore read without building its document.
[[nodiscard]] std::expected<MCPWireOutboundFrame, DecodingError> readOutboundFrame(std::string_view payload);

} // namespace VostelMCPKit
