// The byte format of the socket: frames one behind the other, nothing in between.
//
//     offset  size  content
//     0       4     payload length N, unsigned, big-endian
//     4       N     payload: one JSON document in UTF-8
#pragma once

#include "kit/support/Bytes.h"
#include "kit/wire/MCPWireError.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string_view>

namespace VostelMCPKit::MCPWireFraming {

inline constexpr std::size_t headerLength = 4;
/// The longest payload that a reader accepts, in bytes.
inline constexpr std::size_t maxFrameLength = 67'108'864;

/// Views into the buffer that the frame was cut from.
struct Frame {
    std::string_view payload;
    /// Everything behind the frame.
    std::string_view remainder;

    bool operator==(const Frame&) const = default;
};

/// One frame around `payload`. Deliberate: the limit is the reader's to enforce; only a length beyond 32 bits is
/// refused here, as a programming error that ends the process.
[[nodiscard]] Bytes encode(std::string_view payload);

/// Cuts the first frame off `buffer`, the bytes received so far. Absent while more bytes are needed. An oversized
/// length fails as soon as the header is complete.
[[nodiscard]] std::expected<std::optional<Frame>, MCPWireError> extractFrame(std::string_view buffer);

/// Writes the header for a payload of `length` bytes to `destination`, for a caller that builds the payload in place.
void writeHeader(std::size_t length, char* destination);

} // namespace VostelMCPKit::MCPWireFraming
