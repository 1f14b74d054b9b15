#include "companion/socket/FrameSender.h"

#include "posix/BrokenPipe.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace vostel_companion {

using VostelMCPKit::Bytes;

namespace {

using Clock = std::chrono::steady_clock;

bool waitForRoom(int socket, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waiting{socket, POLLOUT, 0};
        const int ready = ::poll(&waiting, 1, static_cast<int>(std::max(left, std::chrono::milliseconds{0}).count()));
        if (ready >= 0 || errno != EINTR) return ready > 0;
    }
}

} // namespace

Sending sendFrame(int socket, const Bytes& bytes, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (auto rest = bytes.span(); !rest.empty();) {
        const ssize_t count = ::send(socket, rest.data(), rest.size(), posix::sendFlags | MSG_DONTWAIT);
        if (count > 0) {
            rest = rest.subspan(static_cast<std::size_t>(count));
        } else if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0 || !waitForRoom(socket, left)) return Sending::failed;
        } else if (count == 0 || errno != EINTR) {
            return Sending::failed;
        }
    }
    return Sending::sent;
}

Sending sendFrameIfRoom(int socket, const Bytes& bytes, std::chrono::milliseconds timeout) {
    if (!waitForRoom(socket, std::chrono::milliseconds{0})) return Sending::notNow;
    return sendFrame(socket, bytes, timeout);
}

} // namespace vostel_companion
