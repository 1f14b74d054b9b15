// What the server asks of each system in that system's own way. One implementation per system beside this header.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <sys/resource.h>

namespace vostel_mcp {

/// Opens the application bundle in the background: not brought to the front, not among the recent items. Returns once
/// the launch is known to have succeeded or failed. Where the system would pass our limit of open files on, the
/// application gets `descriptorLimit` instead.
[[nodiscard]] VostelMCPKit::Task<std::expected<void, VostelMCPKit::PosixError>>
openWithoutActivating(std::filesystem::path bundle, rlimit descriptorLimit);

/// Tells the allocator to give large blocks back to the system as soon as they are freed. Called once, at start.
void keepIdleMemorySmall();
/// Gives what the allocator holds of freed small blocks back to the system. Thread-safe.
void releaseFreeMemory();

} // namespace vostel_mcp
