// A text's bytes, as what is written takes them.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace vostel_tests {

/// Borrows from `text`.
inline std::span<const std::byte> bytesOf(const std::string& text) { return std::as_bytes(std::span{text}); }

} // namespace vostel_tests
