// Sends frames to a peer that may be slow or disconnected.
#pragma once

#include "kit/support/Bytes.h"

#include <chrono>

namespace vostel_companion {

enum class Sending {
    sent,
    /// Nothing was written, because the peer has not read the earlier frames.
    notNow,
    /// The peer has disconnected, or stopped reading in the middle of a frame. The connection cannot be used any more.
    failed,
};

/// Sends all of `bytes`. `timeout` bounds the whole operation.
[[nodiscard]] Sending sendFrame(int socket, const VostelMCPKit::Bytes& bytes, std::chrono::milliseconds timeout);

/// Sends `bytes` if the socket has room for at least a part of them. The peer must make room for the rest within
/// `timeout`.
[[nodiscard]] Sending sendFrameIfRoom(int socket, const VostelMCPKit::Bytes& bytes, std::chrono::milliseconds timeout);

} // namespace vostel_companion
