// A text as the bytes that a write operation takes.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace vostel_tests {

/// A view of `text`.
inline std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span{text}); }

} // namespace vostel_tests
