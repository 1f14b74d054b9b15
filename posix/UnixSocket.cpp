#include "posix/UnixSocket.h"

#include "kit/connect/MCPSocketAddress.h"
#include "posix/BrokenPipe.h"

#include <cerrno>

namespace posix::UnixSocket {

using VostelMCPKit::PosixError;

std::expected<FileDescriptor, PosixError> connect(const std::string& path, const std::function<void()>& beforeWaiting) {
    const auto address = VostelMCPKit::MCPConnectLogic::socketAddress(path);
    if (!address) return std::unexpected(PosixError{ENAMETOOLONG});
    FileDescriptor descriptor{::socket(AF_UNIX, SOCK_STREAM, 0)};
    if (descriptor.get() < 0) return std::unexpected(PosixError{errno});
    suppressBrokenPipe(descriptor.get());
    widenBuffers(descriptor.get());

    const auto succeeds = [&] {
        return ::connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
    };
    if (beforeWaiting) {
        setNonBlocking(descriptor);
        const bool isConnected = succeeds();
        if (!isConnected && errno != EAGAIN) return std::unexpected(PosixError{errno});
        setBlocking(descriptor);
        if (isConnected) return descriptor;
        beforeWaiting();
    }
    if (!succeeds()) return std::unexpected(PosixError{errno});
    return descriptor;
}

void widenBuffers(int socket) {
    const int size = 1'048'576;
    for (const int direction : {SO_SNDBUF, SO_RCVBUF}) ::setsockopt(socket, SOL_SOCKET, direction, &size, sizeof size);
}

std::expected<void, PosixError> writeAll(int socket, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(socket, bytes.data(), bytes.size(), sendFlags);
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return std::unexpected(PosixError{count == 0 ? EIO : errno});
        }
    }
    return {};
}

} // namespace posix::UnixSocket
