// Cuts the bytes of one connection into frames. The bytes may arrive in pieces of any size.
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

/// Owns the received bytes that `next` has not returned yet; moved, never copied. Not thread-safe.
class MCPWireFrameBuffer final {
public:
    /// The first of at least `count` writable bytes. Views that `next` returned are no longer valid.
    [[nodiscard]] char* room(std::size_t count) & { return received_.room(count); }
    /// Adds the first `count` bytes of the room, after the caller has written them.
    void grow(std::size_t count) { received_.grow(count); }

    /// The payload of the next frame; absent when more bytes are needed. The view is valid until the next call of
    /// `room`. A frame above MCPWireFraming::maxFrameLength fails as soon as its header is complete. Every later call
    /// fails too, because nothing after such a frame can be read.
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
