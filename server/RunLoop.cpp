#include "server/RunLoop.h"

namespace vostel_mcp {

using VostelMCPKit::Task;

void RunLoop::post(std::coroutine_handle<> piece) {
    const std::lock_guard lock{mutex_};
    pieces_.push_back(piece);
    posted_.notify_one();
}

void RunLoop::run(Task<void> task) {
    start(running(std::move(task)), *this);
    while (!ended_) next().resume();
}

Task<void> RunLoop::running(Task<void> task) {
    co_await std::move(task);
    ended_ = true;
}

std::coroutine_handle<> RunLoop::next() {
    std::unique_lock lock{mutex_};
    posted_.wait(lock, [this] { return !pieces_.empty(); });
    const auto piece = pieces_.front();
    pieces_.pop_front();
    return piece;
}

} // namespace vostel_mcp
