#include "posix/FileLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace posix {

std::expected<FileLock, SystemError> FileLock::acquire(const std::filesystem::path& path, IfMissing ifMissing) {
    return lock(path, ifMissing, LOCK_EX);
}

std::expected<FileLock, SystemError> FileLock::tryAcquire(const std::filesystem::path& path, IfMissing ifMissing) {
    return lock(path, ifMissing, LOCK_EX | LOCK_NB);
}

bool FileLock::isHeld(const std::filesystem::path& path) {
    const auto lock = tryAcquire(path, IfMissing::fail);
    return !lock && lock.error().reason.errorNumber == EWOULDBLOCK;
}

std::expected<FileLock, SystemError> FileLock::lock(const std::filesystem::path& path, IfMissing ifMissing,
                                                    int operation) {
    // Following a link could create the lock file elsewhere. Opening a named pipe could wait for its other end.
    const int flags = ifMissing == IfMissing::create ? O_RDWR | O_CREAT | O_NOFOLLOW : O_RDONLY | O_NONBLOCK;
    FileDescriptor file{::open(path.c_str(), flags | O_CLOEXEC, 0600)};
    if (!file.isOpen()) return systemError("open", path);
    int result = 0;
    do {
        result = ::flock(file.get(), operation);
    } while (result != 0 && errno == EINTR);
    if (result != 0) return systemError("lock", path);
    return FileLock{std::move(file)};
}

} // namespace posix
