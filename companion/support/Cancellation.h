// A request to stop one call.
//
// The companion uses threads and mutexes, not the coroutines of the kit. Its calls wait for decoders, SQLite and child
// processes, all of which block. So each call needs a thread of its own anyway.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

namespace vostel_companion {

/// Set once, from any thread, and never cleared. Work checks it between two steps. Work that blocks registers a
/// Listener that wakes it. Outlives its listeners.
class Cancellation final {
public:
    /// Runs `wake` on the cancelling thread when the call is cancelled, or at once if it is cancelled already. `wake`
    /// must not use the cancellation. It does not run after the destructor has returned.
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
