// Threads for blocking work: one for each operation, named, with a stack of 1 MiB.
//
// Most of the cost of starting a thread is mapping its stack and touching its first pages. So the stacks of up to 64
// ended threads are kept for new threads.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/support/PosixError.h"
#include "kit/support/unwrap.h"
#include "posix/ThreadName.h"

#include <expected>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

namespace posix {

/// Starts a thread that runs `body` and then ends. Fails when the system has no room for another thread.
using ThreadStarter =
    std::function<std::expected<void, VostelMCPKit::PosixError>(ThreadName, std::function<void()> body)>;

/// The starter that the programs use. Thread-safe.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> startBlockingThread(ThreadName name,
                                                                                std::function<void()> body);

namespace blocking_thread_detail {

/// An awaitable that runs `work` on a thread of its own. After `work`, the thread posts the awaiter once to the
/// awaiter's executor. Not movable, because the thread refers to it.
template <class Work>
class RunBlocking final {
public:
    RunBlocking(const ThreadStarter& startThread, ThreadName name, Work work)
        : startThread_{startThread}, name_{name}, work_{std::move(work)} {}
    RunBlocking(RunBlocking&&) = delete;

    bool await_ready() const noexcept { return false; }
    template <class P>
    bool await_suspend(std::coroutine_handle<P> awaiter) {
        awaiter_ = awaiter;
        executor_ = awaiter.promise().executor;
        const auto started = startThread_(name_, [this] {
            result_.emplace(work_());
            executor_->post(awaiter_);
        });
        if (started) return true;
        result_.emplace(std::unexpected(typename Result::error_type{started.error()}));
        return false;
    }
    auto await_resume() { return VostelMCPKit::unwrap(std::move(result_)); }

private:
    using Result = std::invoke_result_t<Work>;

    const ThreadStarter& startThread_;
    const ThreadName name_;
    Work work_;
    std::optional<Result> result_;
    std::coroutine_handle<> awaiter_;
    VostelMCPKit::Executor* executor_ = nullptr;
};

} // namespace blocking_thread_detail

/// Runs `work` on a thread of its own and returns its result, a std::expected. The error type must be constructible
/// from PosixError, which reports a thread that could not be started. The caller resumes on its own executor.
template <class Work>
VostelMCPKit::Task<std::invoke_result_t<Work>> runBlocking(ThreadStarter startThread, ThreadName name, Work work) {
    // Suspends every awaiter before the thread can finish. Otherwise the calling thread would resume them and run their
    // blocking work.
    co_await VostelMCPKit::yield();
    blocking_thread_detail::RunBlocking running{startThread, name, std::move(work)};
    co_return co_await running;
}

} // namespace posix
