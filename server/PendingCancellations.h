// The cancellations that are not yet sent to the application.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vostel_mcp {

/// Counts them. A client may cancel its call and close the input at once, which ends the process. Because of the count,
/// the process first sends the cancellation. Thread-safe.
class PendingCancellations final {
public:
    PendingCancellations() = default;
    PendingCancellations(const PendingCancellations&) = delete;
    PendingCancellations& operator=(const PendingCancellations&) = delete;

    /// Adds a cancellation. It counts as held by the application at first, which may still have to read the request.
    void add();
    /// The application no longer holds one: only this process can delay it now.
    void released();
    /// The application holds one again: it accepts no connection.
    void held();
    /// Removes one that is not held, after it was written or has failed.
    void remove();

    /// Blocks until none is left. Waits at most `forApplication` for those that the application holds, because it may
    /// hang. Waits at most `forProcess` for the others, whose threads may be late on a busy machine.
    void drain(std::chrono::milliseconds forApplication, std::chrono::milliseconds forProcess);

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t count_ = 0;
    std::size_t held_ = 0;
};

} // namespace vostel_mcp
