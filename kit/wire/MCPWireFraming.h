// The byte format of the socket: frames follow one another with nothing in between.
//
//     offset  size  content
//     0       4     payload length N, unsigned, big-endian
//     4       N     payload: one JSON document in UTF-8
//
// All functions are thread-safe and keep no state. To read a connection, see MCPWireFrameBuffer.
#pragma once

#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/Bytes.h"
#include "kit/support/TemporaryString.h"
#include "kit/wire/MCPWireFrames.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit::MCPWireFraming {

/// In bytes.
inline constexpr std::size_t headerLength = 4;
/// The longest payload that a reader accepts, in bytes.
inline constexpr std::size_t maxFrameLength = 67'108'864;

/// Two views into the buffer that the frame was cut from. They dangle once that buffer changes or is destroyed.
struct Frame {
    /// The first frame's payload, without its header.
    std::string_view payload;
    /// All bytes after the frame.
    std::string_view remainder;

    bool operator==(const Frame&) const = default;
};

/// The bytes that carry one record: what each side sends. Fails when a number in the record is not finite. Deliberate:
/// a payload above maxFrameLength is not refused here, because that limit is the reader's to enforce.
[[nodiscard]] std::expected<Bytes, EncodingError> encode(const MCPWireInboundFrame& frame);
/// The same for the other direction.
[[nodiscard]] std::expected<Bytes, EncodingError> encode(const MCPWireOutboundFrame& frame);

/// The same for a request whose `arguments` are already text, as our writer writes it. `request.arguments` is ignored.
/// The text becomes the frame. It is not copied if enough of a prefix was dropped from it (see Bytes::prepend).
[[nodiscard]] std::expected<Bytes, EncodingError> encode(MCPWireRequest request, Bytes arguments);

/// The frame with a payload that is already text. For a peer with its own JSON writer; our programs send records. A
/// length beyond 32 bits is a programming error and ends the process.
[[nodiscard]] Bytes encode(std::string_view payload);

/// Cuts the first frame off `buffer`, which holds the bytes received so far. Absent when more bytes are needed. A
/// length above maxFrameLength fails as soon as the header is complete, before the payload has come.
[[nodiscard]] std::expected<std::optional<Frame>, MCPWireError> extractFrame(std::string_view buffer);

void extractFrame(TemporaryString auto&& buffer) = delete;

/// Writes the four bytes of the header to `destination`, for a payload of `length` bytes. A length beyond 32 bits is a
/// programming error and ends the process.
void writeHeader(std::size_t length, char* destination);

} // namespace VostelMCPKit::MCPWireFraming
