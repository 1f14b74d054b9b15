// Writing frames to a peer that may be slow, gone, or not reading at all.
#pragma once

#include "kit/support/Bytes.h"

#include <chrono>

namespace vostel_companion {

enum class Sending {
    sent,
    /// Nothing was written: the peer has not read what came before.
    notNow,
    /// The peer is gone, or gave up in the middle of a frame: the connection is of no further use.
    failed,
};

/// Writes the whole of `bytes`, waiting for the peer up to `patience` in all.
[[nodiscard]] Sending sendFrame(int socket, const VostelMCPKit::Bytes& bytes, std::chrono::milliseconds patience);

/// Writes `bytes` when there is room for a beginning; what the peer does not take at once it gets `patience` for.
[[nodiscard]] Sending sendFrameIfRoom(int socket, const VostelMCPKit::Bytes& bytes, std::chrono::milliseconds patience);

} // namespace vostel_companion
