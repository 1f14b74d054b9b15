// Decides when free memory is returned to the system.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

namespace vostel_mcp {

/// Call `release` after every message of any kind. A message can leave many times its own size in the allocator, which
/// keeps that memory for later. While the server is idle, it must return it. Thread-safe.
class MemoryTrimmer final {
public:
    /// `requestTrim` returns free memory to the system later, when the server is idle. `trimNow` does so at once, on
    /// the calling thread.
    MemoryTrimmer(std::function<void()> requestTrim, std::function<void()> trimNow)
        : requestTrim_{std::move(requestTrim)}, trimNow_{std::move(trimNow)} {}
    MemoryTrimmer(const MemoryTrimmer&) = delete;
    MemoryTrimmer& operator=(const MemoryTrimmer&) = delete;

    /// A message of `bytes` bytes, or a part of one, has been freed.
    void release(std::size_t bytes) {
        // Trims before this thread ends: after that, the allocator keeps what a large message left in its arena.
        if (bytes >= largeMessage) trimNow_();
        if (released_.fetch_add(bytes) + bytes < bytesWorthATrim) return;
        released_ = 0;
        requestTrim_();
    }

private:
    /// Small enough that the memory left below it is negligible, and larger than an ordinary conversation.
    static constexpr std::size_t bytesWorthATrim = 32'768;

    static constexpr std::size_t largeMessage = 4 << 20;

    const std::function<void()> requestTrim_;
    const std::function<void()> trimNow_;
    std::atomic<std::size_t> released_ = 0;
};

} // namespace vostel_mcp
