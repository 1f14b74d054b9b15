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

    /// One more is on its way.
    void add();
    /// The application has taken the connection of one. From here on, only this process can delay it.
    void connected();
    /// One has been written or has failed; `wasConnected` when connected() was called for it.
    void remove(bool wasConnected);

    /// Blocks until none is left, or until `limit` has passed: an application that hangs takes no connection. Those
    /// that are connected are waited for longer, because a busy machine may not have run their threads yet.
    void drain(std::chrono::milliseconds limit);

private:
    std::mutex mutex_;
    std::condition_variable removed_;
    std::size_t count_ = 0;
    std::size_t connected_ = 0;
};

} // namespace vostel_mcp
