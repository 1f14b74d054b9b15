#include "companion/support/WorkFolder.h"

#include "posix/PrivateFolder.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

namespace fs = std::filesystem;

using posix::FileLock;

std::expected<WorkFolder, posix::SystemError> WorkFolder::make(const fs::path& parent) {
    if (auto made = posix::ensureFolder(parent); !made) return std::unexpected(std::move(made.error()));
    // The lock of the parent protects the new folder until it has a lock of its own. Without one it looks abandoned.
    const auto lockOfParent = FileLock::acquire(parent, FileLock::IfMissing::fail);
    if (!lockOfParent) return std::unexpected(lockOfParent.error());
    std::string path = (parent / "XXXXXX").string();
    if (::mkdtemp(path.data()) == nullptr) return posix::systemError("create the folder", path);
    auto lock = FileLock::tryAcquire(path, FileLock::IfMissing::fail);
    if (!lock) return std::unexpected(std::move(lock.error()));
    return WorkFolder{std::move(path), *std::move(lock)};
}

WorkFolder::WorkFolder(fs::path path, FileLock lock) : path_{std::move(path)}, lock_{std::move(lock)} {}

WorkFolder::WorkFolder(WorkFolder&& other) noexcept
    : path_{std::exchange(other.path_, fs::path{})}, lock_{std::move(other.lock_)} {}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
}

std::expected<void, posix::SystemError> deleteAbandonedWork(const fs::path& parent) {
    const auto lockOfParent = FileLock::acquire(parent, FileLock::IfMissing::fail);
    if (!lockOfParent) {
        if (lockOfParent.error().reason.errorNumber == ENOENT) return {};
        return std::unexpected(lockOfParent.error());
    }
    std::error_code failure;
    for (fs::directory_iterator entry{parent, failure}; !failure && entry != fs::directory_iterator{};
         entry.increment(failure)) {
        std::error_code ignored;
        if (!FileLock::isHeld(entry->path())) fs::remove_all(entry->path(), ignored);
    }
    if (failure) return posix::systemError("list", parent, failure.value());
    return {};
}

} // namespace vostel_companion
