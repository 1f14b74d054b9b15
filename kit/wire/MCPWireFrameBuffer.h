// The bytes of one connection, cut into frames however they arrive.
//
//     MCPWireFrameBuffer received;
//     while ((count = read(connection, received.room(4096), 4096)) > 0) {
//         received.grow(count);
//         auto payload = received.next();
//         for (; payload && *payload; payload = received.next()) handle(**payload);
//         if (!payload) break;                   // a frame that is too large
//     }
#pragma once

#include "kit/support/Bytes.h"
#include "kit/wire/MCPWireError.h"

#include <cstddef>
#include <expected>
#include <optional>
#include <string_view>

namespace VostelMCPKit {

/// Owns the bytes that have been received and not cut off yet; moved, never copied. Not thread-safe.
class MCPWireFrameBuffer final {
public:
    /// The first of at least `count` writable bytes. Ends the views that `next` returned.
    [[nodiscard]] char* room(std::size_t count) & { return received_.room(count); }
    /// Takes the first `count` bytes of the room, which the caller has written.
    void grow(std::size_t count) { received_.grow(count); }

    /// The payload of the next frame; absent when more bytes are needed. The view ends with the next call of `room`. A
    /// frame above MCPWireFraming::maxFrameLength fails as soon as its header is complete, and again at every later
    /// call: nothing after it can be read.
    [[nodiscard]] std::expected<std::optional<std::string_view>, MCPWireError> next() &;

    /// Whether every byte that was received belongs to a frame that `next` returned.
    [[nodiscard]] bool empty() const { return received_.empty(); }
    /// The memory that is held, in bytes; 0 before the first call of `room`. Assign `{}` to give it back.
    [[nodiscard]] std::size_t capacity() const { return received_.capacity(); }

private:
    /// The bytes after the last frame that `next` has returned.
    Bytes received_;
};

} // namespace VostelMCPKit
