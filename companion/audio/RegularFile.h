// Opening a file by a path that we do not trust.
#pragma once

#include "companion/audio/AudioError.h"
#include "posix/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <expected>
#include <span>
#include <string>

namespace vostel_companion {

/// A regular file, open for reading. Opening it never waits for a pipe and never starts a device. For one thread at a
/// time.
class RegularFile final {
public:
    [[nodiscard]] static std::expected<RegularFile, AudioError> open(const std::string& path);

    /// In bytes, at the time of opening.
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
