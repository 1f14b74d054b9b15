// The functions of the server that differ between systems. Each system has its own implementation beside this header.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <sys/resource.h>

namespace vostel_mcp {

/// Opens the application bundle in the background: not in front, not among the recent items. Returns when the launch
/// has succeeded or failed. On a system where the application would inherit our limit of open files, it gets
/// `descriptorLimit` instead.
[[nodiscard]] VostelMCPKit::Task<std::expected<void, VostelMCPKit::PosixError>>
openWithoutActivating(std::filesystem::path bundle, rlimit descriptorLimit);

/// Tells the allocator to return large blocks to the system as soon as they are freed. Call it once, at start.
void keepIdleMemorySmall();
/// Returns the memory of freed small blocks to the system. Thread-safe.
void releaseFreeMemory();

} // namespace vostel_mcp
