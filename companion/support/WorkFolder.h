// Folders for the files of unfinished work.
#pragma once

#include "posix/FileLock.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>

namespace vostel_companion {

/// A new folder for one piece of work. The destructor deletes it. It is locked while this object exists, so other
/// processes know that it is in use. A crash leaves the folder without a lock.
class WorkFolder final {
public:
    /// Creates a folder with a random name in `parent`, and `parent` if it is missing.
    [[nodiscard]] static std::expected<WorkFolder, posix::SystemError> make(const std::filesystem::path& parent);
    WorkFolder(WorkFolder&& other) noexcept;
    WorkFolder& operator=(WorkFolder&&) = delete;
    ~WorkFolder();

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    WorkFolder(std::filesystem::path path, posix::FileLock lock);

    std::filesystem::path path_;
    posix::FileLock lock_;
};

/// Deletes everything in `parent`, except for the work folders that a living process uses. Succeeds if `parent` is
/// missing.
[[nodiscard]] std::expected<void, posix::SystemError> deleteAbandonedWork(const std::filesystem::path& parent);

} // namespace vostel_companion
