// The executors that borrow threads: a continuation runs on the thread that posts it, before post returns.
//
// No thread runs another thread's work. So no thread inherits a blocking write that another one began, and a call pays
// for no hop between threads. A continuation that is posted from within another one waits until that one has ended. So
// a thread is inside at most one actor at a time, and actors that call each other cannot deadlock.
#pragma once

#include "kit/concurrency/Executor.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace vostel_mcp {

/// What one thread at a time is inside.
struct Turn {
    std::mutex mutex;
    std::atomic<std::thread::id> holder;
};

/// Runs each continuation on the posting thread, as it comes.
class InlineExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;
};

/// Runs each continuation on the posting thread, one at a time: a thread that comes while another one is inside waits
/// for its turn. This is what isolates an actor.
class SerialExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;

    /// Waits until nothing runs here, except what called this, and lets nothing run from then on.
    void close();

private:
    Turn turn_;
};

} // namespace vostel_mcp
