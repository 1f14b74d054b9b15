#include "server/LaunchBundle_linux.h"
#include "server/Platform.h"

#include <malloc.h>

namespace vostel_mcp {

using VostelMCPKit::PosixError;
using VostelMCPKit::Task;

Task<std::expected<void, PosixError>> openWithoutActivating(std::filesystem::path bundle, rlimit descriptorLimit) {
    co_return launchBundle(bundle, descriptorLimit);
}

void keepIdleMemorySmall() {
    // Fixes the threshold. By default, the allocator raises it when a large block is freed, and then keeps such blocks.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    // malloc_trim does not return the free memory at the end of a thread's arena. Only this threshold limits that
    // memory.
    mallopt(M_TRIM_THRESHOLD, 256 * 1024);
    // Every call has threads of its own. One arena for each would scatter free memory. With one or two arenas, the
    // threads would wait for each other.
    mallopt(M_ARENA_MAX, 8);
}

void releaseFreeMemory() { ::malloc_trim(0); }

} // namespace vostel_mcp
