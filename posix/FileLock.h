// An exclusive lock that processes share.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <utility>

namespace posix {

/// Locks a file or folder until it is destroyed. The kernel releases the lock when the process ends, however it ends.
class FileLock final {
public:
    enum class IfMissing { create, fail };

    /// Waits for the lock.
    [[nodiscard]] static std::expected<FileLock, SystemError> acquire(const std::filesystem::path& path,
                                                                      IfMissing ifMissing);
    /// Does not wait: the error is EWOULDBLOCK while somebody else holds the lock.
    [[nodiscard]] static std::expected<FileLock, SystemError> tryAcquire(const std::filesystem::path& path,
                                                                         IfMissing ifMissing);
    /// Whether anybody holds the lock of `path`.
    [[nodiscard]] static bool isHeld(const std::filesystem::path& path);

    /// The locked file, open for writing if the lock may create it.
    [[nodiscard]] const FileDescriptor& file() const { return file_; }

private:
    explicit FileLock(FileDescriptor file) : file_{std::move(file)} {}
    [[nodiscard]] static std::expected<FileLock, SystemError> lock(const std::filesystem::path& path,
                                                                   IfMissing ifMissing, int operation);

    FileDescriptor file_;
};

} // namespace posix
