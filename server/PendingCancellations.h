// The cancellations that are on their way to the application.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vostel_mcp {

/// Counts them, so that a client that cancels its call and leaves is heard: the process ends with its input, and until
/// then nobody waits for a cancellation. Thread-safe.
class PendingCancellations final {
public:
    PendingCancellations() = default;
    PendingCancellations(const PendingCancellations&) = delete;
    PendingCancellations& operator=(const PendingCancellations&) = delete;

    void add();
    void remove();

    /// Blocks until none is left, or until `limit` has passed: an application that hangs takes no cancellation.
    void drain(std::chrono::milliseconds limit);

private:
    std::mutex mutex_;
    std::condition_variable empty_;
    std::size_t count_ = 0;
};

} // namespace vostel_mcp
