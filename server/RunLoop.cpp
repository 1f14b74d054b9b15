#include "server/RunLoop.h"

namespace vostel_mcp {

using VostelMCPKit::Task;

void RunLoop::post(std::coroutine_handle<> continuation) {
    const std::lock_guard lock{mutex_};
    continuations_.push_back(continuation);
    posted_.notify_one();
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
    posted_.wait(lock, [this] { return !continuations_.empty(); });
    const auto continuation = continuations_.front();
    continuations_.pop_front();
    return continuation;
}

} // namespace vostel_mcp
