// What each system does in its own way. One implementation per system beside this header.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/support/PosixError.h"
#include "kit/support/UUID.h"
#include "server/OwnThread.h"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/socket.h>

namespace vostel_mcp {

/// The running executable; absent when the system cannot tell.
[[nodiscard]] std::optional<std::filesystem::path> ownExecutable();

/// The current user's Application Support folder.
[[nodiscard]] std::filesystem::path applicationSupportDirectory();

/// Opens the application bundle in the background: not brought to the front, not among the recent items. Returns once
/// the launch is known to have succeeded or failed.
[[nodiscard]] VostelMCPKit::Task<std::expected<void, VostelMCPKit::PosixError>>
openWithoutActivating(std::filesystem::path bundle);

void nameThisThread(ThreadName name);

/// Keeps writes to a socket whose other end is gone from raising the broken-pipe signal: an option of the socket on one
/// system, a flag of each write on the other.
void suppressBrokenPipe(int socket);
extern const int sendFlags;

/// Tells the allocator to give large blocks back to the system as soon as they are freed. Called once, at start.
void keepIdleMemorySmall();
/// Gives what the allocator holds of freed small blocks back to the system. Thread-safe.
void releaseFreeMemory();

} // namespace vostel_mcp
