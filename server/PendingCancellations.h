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

    /// One more is on its way. The application holds it up at first: it may still have to read the request.
    void add();
    /// Only this process can delay one from here on.
    void released();
    /// The application holds one up again: it accepts no connection.
    void held();
    /// One that is not held has been written or has failed.
    void remove();

    /// Blocks until none is left. Waits `forApplication` for those that the application holds up, because it may hang,
    /// and `forProcess` for the others, because a busy machine may not have run their threads yet.
    void drain(std::chrono::milliseconds forApplication, std::chrono::milliseconds forProcess);

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t count_ = 0;
    std::size_t held_ = 0;
};

} // namespace vostel_mcp
