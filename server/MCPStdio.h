// The standard streams of the process.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/BlockingThread.h"
#include "server/LineChannel.h"

#include <cstdint>
#include <expected>
#include <span>

namespace vostel_mcp::MCPStdio {

/// Starts the thread that reads `descriptor` to its end and pushes every complete line to `lines`, which outlives the
/// thread. Bytes after the last line feed are dropped, because only a line feed completes a message.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> startReadingLines(int descriptor, LineChannel& lines,
                                                                              const posix::ThreadStarter& startThread);

/// One write to `descriptor`. Returns the number of bytes written, or the system's error. Tries again when a signal
/// interrupts it. Waits if another process has made the descriptor non-blocking.
[[nodiscard]] std::expected<std::int64_t, VostelMCPKit::PosixError> attemptWrite(int descriptor,
                                                                                 std::span<const std::byte> bytes);

/// Waits until `descriptor` takes bytes, and returns how many bytes a pipe then takes without blocking. The caller
/// wants to write `wanted` bytes. If every ready pipe takes so few, the system is not asked whether this pipe takes
/// more. A descriptor for which poll cannot wait counts as ready: the write then reports the error.
[[nodiscard]] std::size_t waitForRoom(int descriptor, std::size_t wanted);

} // namespace vostel_mcp::MCPStdio
