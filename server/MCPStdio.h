// The standard streams of the process.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/BlockingThread.h"
#include "server/LineChannel.h"

#include <cstdint>
#include <expected>
#include <span>

namespace vostel_mcp::MCPStdio {

/// Starts the one thread that reads `descriptor` to its end and publishes every complete line to `lines`, which
/// outlives it. Bytes after the last line feed are dropped: a message counts only once its line feed has arrived.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> startReadingLines(int descriptor, LineChannel& lines,
                                                                              const posix::ThreadStarter& startThread);

/// One write to `descriptor`, retried while interrupted: the bytes that it took, or the system's error. A descriptor
/// that somebody has made non-blocking is waited for.
[[nodiscard]] std::expected<std::int64_t, VostelMCPKit::PosixError> attemptWrite(int descriptor,
                                                                                 std::span<const std::byte> bytes);

/// Waits until `descriptor` takes bytes, and returns how many a pipe then takes without waiting. A descriptor that
/// cannot be waited for counts as ready: the write reports what is wrong.
[[nodiscard]] std::size_t waitForRoom(int descriptor);

} // namespace vostel_mcp::MCPStdio
