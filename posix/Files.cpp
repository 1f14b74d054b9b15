#include "posix/Files.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace posix {

namespace fs = std::filesystem;

namespace {

/// flock, begun again when a signal interrupts it.
int lockDescriptor(int descriptor, int operation) {
    int result = 0;
    do {
        result = ::flock(descriptor, operation);
    } while (result != 0 && errno == EINTR);
    return result;
}

} // namespace

std::string FileError::description() const {
    return "Vostel could not use " + path + ": " + std::generic_category().message(number) + ".";
}

std::unexpected<FileError> fileError(const fs::path& path, int number) {
    return std::unexpected(FileError{path.string(), number});
}

std::unexpected<FileError> fileError(const fs::path& path) { return fileError(path, errno); }

std::expected<void, FileError> ensureFolder(const fs::path& folder) {
    std::error_code failure;
    if (fs::is_directory(folder, failure)) return {};
    if (folder.has_parent_path() && folder.parent_path() != folder) {
        fs::create_directories(folder.parent_path(), failure);
        if (failure) return fileError(folder.parent_path(), failure.value());
    }
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return fileError(folder);
    return {};
}

std::expected<void, FileError> writeAll(const FileDescriptor& file, std::string_view bytes, const fs::path& path) {
    while (!bytes.empty()) {
        const auto count = ::write(file.get(), bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fileError(path);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return {};
}

std::expected<void, FileError> synchronize(const FileDescriptor& file, const fs::path& path) {
    if (::fsync(file.get()) != 0) return fileError(path);
    return {};
}

std::expected<void, FileError> synchronizeFolder(const fs::path& folder) {
    const FileDescriptor opened{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!opened.isOpen()) return fileError(folder);
    return synchronize(opened, folder);
}

std::expected<void, FileError> writeFileAtomically(const fs::path& path, std::string_view text) {
    std::string temporary = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    const FileDescriptor file{::mkostemp(temporary.data(), O_CLOEXEC)};
    if (!file.isOpen()) return fileError(path);
    auto done = writeAll(file, text, path);
    if (done) done = synchronize(file, path);
    if (done && ::rename(temporary.c_str(), path.c_str()) != 0) done = fileError(path);
    if (!done) {
        ::unlink(temporary.c_str());
        return done;
    }
    return synchronizeFolder(path.parent_path());
}

std::expected<FileLock, FileError> FileLock::acquire(const fs::path& path) {
    FileDescriptor file{::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)};
    if (!file.isOpen() || lockDescriptor(file.get(), LOCK_EX) != 0) return fileError(path);
    return FileLock{std::move(file)};
}

std::expected<FileLock, FileError> FileLock::tryExisting(const fs::path& path) {
    FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW)};
    if (!file.isOpen() || lockDescriptor(file.get(), LOCK_EX | LOCK_NB) != 0) return fileError(path);
    return FileLock{std::move(file)};
}

bool FileLock::isHeld(const fs::path& path) {
    const auto lock = tryExisting(path);
    return !lock && lock.error().number == EWOULDBLOCK;
}

} // namespace posix
