// The executor of the main thread, which runs the server loop.
#pragma once

#include "kit/concurrency/Task.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace vostel_mcp {

class RunLoop final : public VostelMCPKit::Executor {
public:
    RunLoop() = default;
    /// When `idleWork` has been requested, it runs once on the running thread: `delay` later, as soon as nothing is
    /// posted.
    RunLoop(std::chrono::milliseconds delay, std::function<void()> idleWork)
        : delay_{delay}, idleWork_{std::move(idleWork)} {}

    void post(std::coroutine_handle<> continuation) override;
    /// Requests that come before the work is done are one. Thread-safe.
    void requestIdleWork();

    /// Runs what is posted, on the calling thread, until `task` has ended. Without requests for idle work it waits
    /// without waking up in between.
    void run(VostelMCPKit::Task<void> task);

private:
    VostelMCPKit::Task<void> running(VostelMCPKit::Task<void> task);
    std::coroutine_handle<> next();
    void waitForWork(std::unique_lock<std::mutex>& lock);

    const std::chrono::milliseconds delay_{0};
    const std::function<void()> idleWork_;
    std::mutex mutex_;
    /// Something was posted or requested.
    std::condition_variable changed_;
    std::deque<std::coroutine_handle<>> continuations_;
    /// Absent while no idle work is requested.
    std::optional<std::chrono::steady_clock::time_point> idleWorkIsDue_;
    /// Touched by the running thread alone.
    bool ended_ = false;
};

} // namespace vostel_mcp
