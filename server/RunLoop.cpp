#include "server/RunLoop.h"

namespace vostel_mcp {

using VostelMCPKit::Task;

// Both functions notify after they have unlocked. Otherwise the running thread would wake up and wait for the lock.

void RunLoop::post(std::coroutine_handle<> continuation) {
    std::unique_lock lock{mutex_};
    continuations_.push_back(continuation);
    lock.unlock();
    changed_.notify_one();
}

void RunLoop::requestIdleWork() {
    std::unique_lock lock{mutex_};
    if (idleWorkIsDue_) return;
    idleWorkIsDue_ = std::chrono::steady_clock::now() + delay_;
    lock.unlock();
    changed_.notify_one();
}

void RunLoop::run(Task<void> task) {
    spawn(running(std::move(task)), *this);
    while (!ended_) next().resume();
}

Task<void> RunLoop::running(Task<void> task) {
    co_await std::move(task);
    ended_ = true;
}

std::coroutine_handle<> RunLoop::next() {
    std::unique_lock lock{mutex_};
    while (continuations_.empty()) waitForWork(lock);
    const auto continuation = continuations_.front();
    continuations_.pop_front();
    return continuation;
}

/// Returns when something has changed, or after the idle work.
void RunLoop::waitForWork(std::unique_lock<std::mutex>& lock) {
    if (!idleWorkIsDue_) return changed_.wait(lock);
    if (std::chrono::steady_clock::now() < *idleWorkIsDue_) {
        const auto due = *idleWorkIsDue_;
        changed_.wait_until(lock, due);
        return;
    }
    idleWorkIsDue_.reset();
    lock.unlock();
    idleWork_();
    lock.lock();
}

} // namespace vostel_mcp
