// An exclusive lock between processes.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <utility>

namespace posix {

/// Locks a file or folder until this object is destroyed. The kernel releases the lock when the process ends, also
/// after a crash.
class FileLock final {
public:
    enum class IfMissing { create, fail };

    /// Waits for the lock.
    [[nodiscard]] static std::expected<FileLock, SystemError> acquire(const std::filesystem::path& path,
                                                                      IfMissing ifMissing);
    /// Does not wait. The error is EWOULDBLOCK while another holder has the lock.
    [[nodiscard]] static std::expected<FileLock, SystemError> tryAcquire(const std::filesystem::path& path,
                                                                         IfMissing ifMissing);
    /// Whether the lock of `path` is held.
    [[nodiscard]] static bool isHeld(const std::filesystem::path& path);

    /// The locked file. It is open for writing with IfMissing::create.
    [[nodiscard]] const FileDescriptor& file() const { return file_; }

private:
    explicit FileLock(FileDescriptor file) : file_{std::move(file)} {}
    [[nodiscard]] static std::expected<FileLock, SystemError> lock(const std::filesystem::path& path,
                                                                   IfMissing ifMissing, int operation);

    FileDescriptor file_;
};

} // namespace posix
