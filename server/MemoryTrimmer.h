// Decides when free memory goes back to the system after messages.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

namespace vostel_mcp {

/// Told of every message that is done with, whatever its kind. A message leaves up to many times its own size in the
/// allocator, which keeps that memory for the next one. A helper that idles must give it back. Thread-safe.
class MemoryTrimmer final {
public:
    /// `requestTrim` has free memory given back once the server has nothing to do.
    /// `trimNow` does so at once, on the calling thread.
    explicit MemoryTrimmer(
        std::function<void()> requestTrim, std::function<void()> trimNow = [] {})
        : requestTrim_{std::move(requestTrim)}, trimNow_{std::move(trimNow)} {}
    MemoryTrimmer(const MemoryTrimmer&) = delete;
    MemoryTrimmer& operator=(const MemoryTrimmer&) = delete;

    /// A message of `bytes` bytes, or a part of one, has been freed.
    void release(std::size_t bytes) {
        // Once its thread has ended, the allocator keeps what a large message left at the end of that thread's memory.
        if (bytes >= largeMessage) trimNow_();
        if (released_.fetch_add(bytes) + bytes < bytesWorthATrim) return;
        released_ = 0;
        requestTrim_();
    }

private:
    /// Small enough that what is left below it does not count, and too much for an ordinary conversation.
    static constexpr std::size_t bytesWorthATrim = 32'768;

    static constexpr std::size_t largeMessage = 4 << 20;

    const std::function<void()> requestTrim_;
    const std::function<void()> trimNow_;
    std::atomic<std::size_t> released_ = 0;
};

} // namespace vostel_mcp
