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

/// Must outlive every call of `post` and `requestIdleWork`. Such a call may still notify when `run` has returned.
class RunLoop final : public VostelMCPKit::Executor {
public:
    RunLoop() = default;
    /// After a request, `idleWork` runs once on the thread of `run`: after `delay`, as soon as no continuation waits.
    RunLoop(std::chrono::milliseconds delay, std::function<void()> idleWork)
        : delay_{delay}, idleWork_{std::move(idleWork)} {}

    void post(std::coroutine_handle<> continuation) override;
    /// Several requests before the work runs count as one. Thread-safe.
    void requestIdleWork();

    /// Runs posted continuations on the calling thread until `task` has ended. While there is nothing to do, it sleeps
    /// without waking up, unless idle work is requested.
    void run(VostelMCPKit::Task<void> task);

private:
    VostelMCPKit::Task<void> running(VostelMCPKit::Task<void> task);
    std::coroutine_handle<> next();
    void waitForWork(std::unique_lock<std::mutex>& lock);

    const std::chrono::milliseconds delay_{0};
    const std::function<void()> idleWork_;
    std::mutex mutex_;
    /// Notified when a continuation is posted or idle work is requested.
    std::condition_variable changed_;
    std::deque<std::coroutine_handle<>> continuations_;
    /// Absent while no idle work is requested.
    std::optional<std::chrono::steady_clock::time_point> idleWorkIsDue_;
    /// Used only by the thread of `run`.
    bool ended_ = false;
};

} // namespace vostel_mcp
