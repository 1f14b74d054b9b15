#include "server/MCPStdio.h"

#include "kit/stdio/MCPLineBuffer.h"
#include "kit/support/outOfMemory.h"
#include "server/Termination.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace vostel_mcp::MCPStdio {

using VostelMCPKit::PosixError;

namespace {

/// Waits until `descriptor` is ready for `event` (of poll) or its other end is closed. For POLLIN, also returns when a
/// signal interrupts it. False with errno set when poll cannot wait for it.
bool waitUntilReady(int descriptor, short event) {
    pollfd waiting{descriptor, event, 0};
    while (::poll(&waiting, 1, /*timeout=*/-1) < 0) {
        // Both errors mean that the system is short of memory for a moment. The pause does not use poll, which would
        // fail in the same way.
        if (errno == EAGAIN || errno == ENOMEM) {
            ::usleep(1'000);
        } else if (errno != EINTR) {
            return false;
        } else if (event == POLLIN) {
            // The reader checks whether the input must end.
            return true;
        }
    }
    if ((waiting.revents & POLLNVAL) == 0) return true;
    errno = EBADF;
    return false;
}

/// Call it after a read or write has failed with errno set. True when it should be tried again. Another process that
/// shares the stream may have made it non-blocking. Then this function waits until the stream is ready.
bool mayRetry(int descriptor, short event) {
    static_assert(EAGAIN == EWOULDBLOCK);
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    return waitUntilReady(descriptor, event);
}

/// The lines that `bytes` complete. Absent if there was not enough memory. Then the buffer is empty.
std::optional<std::vector<std::string>> tryToComplete(VostelMCPKit::MCPLineBuffer& buffer, std::string_view bytes) {
    const auto append = [&] { return std::optional{buffer.append(bytes)}; };
    const auto drop = [&] {
        buffer = {};
        return std::optional<std::vector<std::string>>{};
    };
    return VostelMCPKit::withinMemory(append, drop);
}

/// The same, but if there is not enough memory for a line, its bytes so far are dropped. The rest of it is read as a
/// line, which is not a valid message.
std::vector<std::string> completeLines(VostelMCPKit::MCPLineBuffer& buffer, std::string_view bytes) {
    auto lines = tryToComplete(buffer, bytes);
    if (!lines) lines = tryToComplete(buffer, bytes);
    return std::move(lines).value_or(std::vector<std::string>{});
}

/// True when a signal asks this process to end and the client has written nothing more.
bool mayEndInput(int descriptor) {
    if (!Termination::isRequested()) return false;
    pollfd waiting{descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, /*timeout=*/0) == 0;
}

void readLines(int descriptor, LineChannel& lines) {
    VostelMCPKit::MCPLineBuffer buffer;
    char bytes[65'536];
    for (;;) {
        const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
        if (count < 0 && mayRetry(descriptor, POLLIN) && !mayEndInput(descriptor)) continue;
        if (count <= 0) break;
        const std::string_view received{bytes, static_cast<std::size_t>(count)};
        // The first line may have begun long before and be too large. The lines after it must not be lost with it.
        const std::size_t first = std::min(received.find('\n'), received.size() - 1) + 1;
        lines.push(completeLines(buffer, received.substr(0, first)));
        if (first < received.size()) lines.push(completeLines(buffer, received.substr(first)));
    }
    lines.finish();
}

} // namespace

std::expected<void, PosixError> startReadingLines(int descriptor, LineChannel& lines,
                                                  const posix::ThreadStarter& startThread) {
    constexpr posix::ThreadName name{"com.vostel.vostel-mcp.stdin-reader", "stdin-reader"};
    return startThread(name, [descriptor, &lines] { readLines(descriptor, lines); });
}

std::expected<std::int64_t, PosixError> attemptWrite(int descriptor, std::span<const std::byte> bytes) {
    if (bytes.empty()) return 0;
    for (;;) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) return count;
        if (!mayRetry(descriptor, POLLOUT)) return std::unexpected(PosixError{errno});
    }
}

std::size_t waitForRoom(int descriptor, std::size_t wanted) {
    std::ignore = waitUntilReady(descriptor, POLLOUT);
    if (wanted <= PIPE_BUF) return PIPE_BUF;
#ifdef F_GETPIPE_SZ
    // Each write into a pipe may leave a part of a page unused. So only an empty pipe surely has room for more.
    int unread = 0;
    if (::ioctl(descriptor, FIONREAD, &unread) == 0 && unread == 0) {
        const int capacity = ::fcntl(descriptor, F_GETPIPE_SZ);
        if (capacity > PIPE_BUF) return static_cast<std::size_t>(capacity);
    }
#endif
    return PIPE_BUF;
}

} // namespace vostel_mcp::MCPStdio
