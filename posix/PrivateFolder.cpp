#include "posix/PrivateFolder.h"

#include "posix/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace posix {

namespace fs = std::filesystem;

namespace {

/// Creates the folder and its parents. Anything that already exists at `folder` is left as it is.
std::expected<void, SystemError> createFolder(const fs::path& folder) {
    std::error_code failure;
    fs::create_directories(folder.parent_path(), failure);
    if (failure) return systemError("create the folder", folder.parent_path(), failure.value());
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return systemError("create the folder", folder);
    return {};
}

} // namespace

std::expected<void, SystemError> ensureFolder(const fs::path& folder) {
    std::error_code failure;
    if (fs::is_directory(folder, failure)) return {};
    if (auto created = createFolder(folder); !created) return created;
    if (!fs::is_directory(folder, failure)) return systemError("create the folder", folder, ENOTDIR);
    return {};
}

std::expected<bool, SystemError> ensurePrivateFolder(const fs::path& folder) {
    if (auto created = createFolder(folder); !created) return std::unexpected(std::move(created.error()));
    // Opens the folder before checking it, because another folder may take its name at any moment.
    const FileDescriptor opened{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    if (!opened.isOpen() && (errno == ENOTDIR || errno == ELOOP)) return false;
    struct stat status{};
    if (!opened.isOpen() || ::fstat(opened.get(), &status) != 0) return systemError("open the folder", folder);
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return false;
    if ((status.st_mode & 0777U) != 0700 && ::fchmod(opened.get(), 0700) != 0) {
        return systemError("change the mode of the folder", folder);
    }
    return true;
}

} // namespace posix
