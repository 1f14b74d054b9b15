// Reads the payload of a frame. Each side of the socket reads what the other side sends.
//
// All functions are thread-safe and keep no state.
#pragma once

#include "kit/support/Bytes.h"
#include "kit/support/TemporaryString.h"
#include "kit/wire/MCPWireFrames.h"

#include <expected>
#include <optional>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

/// Why a payload is not a frame that the application can serve.
struct MCPWireInboundFailure {
    /// DecodingError: the payload is not an inbound frame. It names no call to answer, so close the connection.
    /// MCPWireResponse: it is a request of another protocol version. Send this response, then close the connection.
    std::variant<DecodingError, MCPWireResponse> is;

    bool operator==(const MCPWireInboundFailure&) const = default;
};

/// For the application. Checks the version before it decodes the rest of the request, because another version may
/// give a request another shape. Deliberate: a cancellation of another version is not refused for its version, because
/// nothing can answer it. The frame shares nothing with `payload`.
[[nodiscard]] std::expected<MCPWireInboundFrame, MCPWireInboundFailure> readInboundFrame(std::string_view payload);

/// For vostel-mcp. The result equals that of readJSON and decode. The frame shares nothing with `payload`.
[[nodiscard]] std::expected<MCPWireOutboundFrame, DecodingError> readOutboundFrame(std::string_view payload);

/// The parts of a progress report as they are in its payload, whose memory they share.
struct MCPWireProgressText {
    /// A number.
    std::string_view fraction;
    /// A string with its quotation marks.
    std::optional<std::string_view> message;
    /// Without its quotation marks. It holds no escape.
    std::string_view requestID;

    bool operator==(const MCPWireProgressText&) const = default;
};

/// For vostel-mcp, which forwards progress without decoding it. The parts of a report, if our own encoder would write
/// the payload in the same way. Absent for every other payload, valid or not, and for a report whose message has
/// escapes or whose fraction has an unusual form.
[[nodiscard]] std::optional<MCPWireProgressText> canonicalProgress(std::string_view payload);
void canonicalProgress(TemporaryString auto&& payload) = delete;

/// For vostel-mcp, which forwards results without decoding them. The text of a response's result, a part of `payload`,
/// if our own encoder would write the payload in the same way. Absent for every other payload, valid or not.
[[nodiscard]] std::optional<std::string_view> canonicalResult(std::string_view payload);
void canonicalResult(TemporaryString auto&& payload) = delete;

/// For vostel-mcp, too. The text of a response's result as our own encoder writes it, whatever the form of `payload`.
/// Takes as much memory as the text; an MCPValue can take twenty times as much. Absent for a payload that is not a
/// response with a result, and for a few that readOutboundFrame can read.
[[nodiscard]] std::optional<Bytes> rewrittenResult(std::string_view payload);

} // namespace VostelMCPKit
