#include "server/MCPStdio.h"

#include "kit/stdio/MCPLineBuffer.h"

#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace vostel_mcp::MCPStdio {

using VostelMCPKit::PosixError;

namespace {

/// After a read or write failed with errno set: true when it is worth another attempt. The other end of a stream may be
/// shared with a process that made it non-blocking; then this waits until the stream is ready.
bool mayRetry(int descriptor, short event) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
    pollfd ready{descriptor, event, 0};
    return poll(&ready, 1, /*timeout=*/-1) > 0 || errno == EINTR;
}

void readLines(int descriptor, LineChannel& lines) {
    VostelMCPKit::MCPLineBuffer buffer;
    char bytes[65'536];
    for (;;) {
        const ssize_t count = read(descriptor, bytes, sizeof bytes);
        if (count < 0 && mayRetry(descriptor, POLLIN)) continue;
        if (count <= 0) break;
        lines.push(buffer.append({bytes, static_cast<std::size_t>(count)}));
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
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) return count;
        if (!mayRetry(descriptor, POLLOUT)) return std::unexpected(PosixError{errno});
    }
}

std::size_t waitForRoom(int descriptor) {
    pollfd ready{descriptor, POLLOUT, 0};
    while (poll(&ready, 1, /*timeout=*/-1) < 0 && (errno == EINTR || errno == EAGAIN)) {}
    return PIPE_BUF;
}

} // namespace vostel_mcp::MCPStdio
