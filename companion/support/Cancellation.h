// One call's "please stop".
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

namespace vostel_companion {

/// Set once, from any thread, and never cleared; work looks at it between two steps. Work that sleeps registers a
/// Listener that wakes it. Outlives its listeners.
class Cancellation final {
public:
    /// Runs `wake` when the call is cancelled, on the cancelling thread, or at once when it is already. `wake` must not
    /// touch the cancellation. After the destructor has returned it neither runs nor will.
    class Listener final {
    public:
        Listener(Cancellation& cancellation, std::function<void()> wake);
        ~Listener();
        Listener(const Listener&) = delete;
        Listener& operator=(const Listener&) = delete;

    private:
        friend class Cancellation;
        Cancellation& cancellation_;
        std::function<void()> wake_;
    };

    Cancellation() = default;
    Cancellation(const Cancellation&) = delete;
    Cancellation& operator=(const Cancellation&) = delete;

    void cancel();
    [[nodiscard]] bool isCancelled() const { return cancelled_.load(); }

private:
    std::atomic<bool> cancelled_ = false;
    std::mutex mutex_;
    std::vector<Listener*> listeners_;
};

} // namespace vostel_companion
