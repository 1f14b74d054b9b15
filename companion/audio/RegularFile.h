// Opening a file that somebody else named.
#pragma once

#include "companion/audio/AudioError.h"
#include "posix/FileDescriptor.h"

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

    /// In bytes, as it was when opened.
    [[nodiscard]] std::int64_t size() const { return size_; }
    /// Reads at `offset`: the number of bytes, zero at the end.
    [[nodiscard]] std::expected<std::size_t, VostelMCPKit::PosixError> read(std::int64_t offset,
                                                                            std::span<std::byte> buffer) const;

private:
    RegularFile(posix::FileDescriptor file, std::int64_t size) : file_{std::move(file)}, size_{size} {}

    posix::FileDescriptor file_;
    std::int64_t size_;
};

} // namespace vostel_companion
