// The executor of the main thread, which runs the server loop.
#pragma once

#include "kit/concurrency/Task.h"

#include <condition_variable>
#include <deque>
#include <mutex>

namespace vostel_mcp {

class RunLoop final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;

    /// Runs what is posted, on the calling thread, until `task` has ended; waits without waking up in between.
    void run(VostelMCPKit::Task<void> task);

private:
    VostelMCPKit::Task<void> running(VostelMCPKit::Task<void> task);
    std::coroutine_handle<> next();

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::coroutine_handle<>> continuations_;
    /// Touched by the running thread alone.
    bool ended_ = false;
};

} // namespace vostel_mcp
