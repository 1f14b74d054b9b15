#include "posix/RandomUUID.h"

#include "posix/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <span>
#include <sys/random.h>
#include <unistd.h>

namespace posix {

using VostelMCPKit::PosixError;
using VostelMCPKit::UUID;

namespace {

int readRandomDevice(std::span<char> bytes) {
    const FileDescriptor device{::open("/dev/urandom", O_RDONLY | O_CLOEXEC)};
    if (!device.isOpen()) return -1;
    while (!bytes.empty()) {
        const ssize_t count = ::read(device.get(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0) {
            errno = EIO;
            return -1;
        } else if (errno != EINTR) {
            return -1;
        }
    }
    return 0;
}

} // namespace

int randomBytes(void* bytes, std::size_t count) {
    if (::getentropy(bytes, count) == 0) return 0;
    return readRandomDevice({static_cast<char*>(bytes), count});
}

std::expected<UUID, PosixError> freshUUID() {
    const auto fresh = VostelMCPKit::RandomUUIDs{randomBytes}.next();
    if (!fresh) return std::unexpected(PosixError{errno});
    return *fresh;
}

} // namespace posix
