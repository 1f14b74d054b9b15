// The executors that borrow threads: a continuation runs on the thread that posts it.
//
// No thread runs another thread's work. So no thread gets a blocking write that another thread began, and a call needs
// no switch between threads. A continuation that is posted inside another one runs when that one has ended. All others
// run before post returns. So a thread is inside at most one actor at a time, and actors that call each other cannot
// deadlock.
#pragma once

#include "kit/concurrency/Executor.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace vostel_mcp {

/// A lock that knows which thread holds it.
struct TrackedMutex {
    std::mutex mutex;
    std::atomic<std::thread::id> holder;
};

/// Runs each continuation on the posting thread. Threads do not wait for each other.
class InlineExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;
};

/// Runs each continuation on the posting thread, one at a time: a thread waits while another one runs a continuation
/// here. This isolates an actor.
class SerialExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;

    /// Waits until no other thread runs a continuation here. Afterwards, no other thread can run one.
    void close();

private:
    TrackedMutex mutex_;
};

} // namespace vostel_mcp
