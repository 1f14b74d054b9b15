#include "server/platform/Home.h"
#include "server/platform/LaunchBundle_linux.h"
#include "server/platform/Platform.h"

#include <malloc.h>
#include <pthread.h>

namespace vostel_mcp {

using VostelMCPKit::PosixError;
using VostelMCPKit::Task;

std::optional<std::filesystem::path> ownExecutable() {
    std::error_code failure;
    auto executable = std::filesystem::read_symlink("/proc/self/exe", failure);
    if (failure) return std::nullopt;
    return executable;
}

std::filesystem::path applicationSupportDirectory() { return homeDirectory() / "Library" / "Application Support"; }

Task<std::expected<void, PosixError>> openWithoutActivating(std::filesystem::path bundle) {
    co_return launchBundle(bundle);
}

void nameThisThread(ThreadName name) { pthread_setname_np(pthread_self(), name.suffix); }

void suppressBrokenPipe(int /*socket*/) {}
const int sendFlags = MSG_NOSIGNAL;

void keepIdleMemorySmall() {
    // A fixed threshold: left alone, the allocator raises it with each large block that is freed, and keeps later ones.
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_TRIM_THRESHOLD, 1024 * 1024);
    // Every call has threads of its own. An arena for each would scatter what they leave behind; in one or two they
    // would wait for each other.
    mallopt(M_ARENA_MAX, 8);
}

void releaseFreeMemory() { malloc_trim(0); }

} // namespace vostel_mcp
