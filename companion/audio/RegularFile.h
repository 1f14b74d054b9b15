// Opening a file that somebody else named.
#pragma once

#include "companion/audio/AudioError.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>

namespace vostel_companion {

/// A regular file, open for reading. It never waits for a pipe's other end, never touches a device, and keeps reading
/// the file that it judged when the path is given to another one. Owns its descriptor. For one thread at a time.
class RegularFile final {
public:
    [[nodiscard]] static std::expected<RegularFile, AudioError> open(const std::string& path);
    RegularFile(RegularFile&& other) noexcept;
    RegularFile& operator=(RegularFile&&) = delete;
    ~RegularFile();

    /// In bytes, as it was when opened.
    [[nodiscard]] std::int64_t size() const { return size_; }
    /// Reads at `offset`; the number of bytes, zero at the end, or an errno value.
    [[nodiscard]] std::expected<std::size_t, int> read(std::int64_t offset, std::span<std::byte> into) const;

private:
    RegularFile(int descriptor, std::int64_t size) : descriptor_{descriptor}, size_{size} {}

    int descriptor_;
    std::int64_t size_;
};

} // namespace vostel_companion
