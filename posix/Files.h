// The few things that the store asks of the file system beyond the database, with failures as values.
#pragma once

#include "posix/FileDescriptor.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace posix {

/// The system refused something about a file or folder; `number` is the errno.
struct FileError {
    std::string path;
    int number = 0;

    /// One full sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const FileError&) const = default;
};

/// The system's error `number` about `path`, errno by default. Call it before anything else can change errno.
[[nodiscard]] std::unexpected<FileError> fileError(const std::filesystem::path& path);
[[nodiscard]] std::unexpected<FileError> fileError(const std::filesystem::path& path, int number);

/// Makes the folder, for its owner alone, and its missing parents; an existing one is left as it is.
[[nodiscard]] std::expected<void, FileError> ensureFolder(const std::filesystem::path& folder);

/// Returns when all of `bytes` are written to the open file.
[[nodiscard]] std::expected<void, FileError> writeAll(const FileDescriptor& file, std::string_view bytes,
                                                      const std::filesystem::path& path);

/// Returns when the content of an open file, or the list of names of an open folder, is on the disk.
[[nodiscard]] std::expected<void, FileError> synchronize(const FileDescriptor& file, const std::filesystem::path& path);
[[nodiscard]] std::expected<void, FileError> synchronizeFolder(const std::filesystem::path& folder);

/// Puts `text` at `path`, readable by the owner alone: whoever looks finds the old file or the new one, whole, also
/// after a crash. Its folder must exist.
[[nodiscard]] std::expected<void, FileError> writeFileAtomically(const std::filesystem::path& path,
                                                                 std::string_view text);

/// An exclusive lock on a file or folder that processes share. The kernel lets go of it when its process ends, however
/// it ends.
class FileLock final {
public:
    /// Waits for the lock of the file at `path`, which is created if need be.
    [[nodiscard]] static std::expected<FileLock, FileError> acquire(const std::filesystem::path& path);
    /// Locks an existing file or folder without waiting; the error is EWOULDBLOCK when another holder has it.
    [[nodiscard]] static std::expected<FileLock, FileError> tryExisting(const std::filesystem::path& path);
    /// Whether anyone holds the lock of `path`.
    [[nodiscard]] static bool isHeld(const std::filesystem::path& path);

private:
    explicit FileLock(FileDescriptor file) : file_(std::move(file)) {}

    FileDescriptor file_;
};

} // namespace posix
