#include "posix/RandomUUID.h"

#include "posix/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <span>
#include <sys/random.h>
#include <unistd.h>

namespace posix {

using VostelMCPKit::PosixError;
using VostelMCPKit::UUID;

namespace {

std::expected<void, PosixError> readRandomDevice(std::span<std::uint8_t> bytes) {
    const FileDescriptor device{::open("/dev/urandom", O_RDONLY | O_CLOEXEC)};
    if (!device.isOpen()) return std::unexpected(PosixError{errno});
    while (!bytes.empty()) {
        const ssize_t count = ::read(device.get(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return std::unexpected(PosixError{count == 0 ? EIO : errno});
        }
    }
    return {};
}

} // namespace

std::expected<UUID, PosixError> freshUUID() {
    std::array<std::uint8_t, 16> random{};
    if (::getentropy(random.data(), random.size()) != 0) {
        if (const auto read = readRandomDevice(random); !read) return std::unexpected(read.error());
    }
    return UUID::fromRandom(random);
}

UUID randomUUID() {
    const auto fresh = freshUUID();
    if (!fresh) std::abort();
    return *fresh;
}

} // namespace posix
