// Task<T>: an asynchronous operation as a coroutine, started when it is awaited.
//
//     Task<int> twice(Counter& counter) {
//         const int first = co_await counter.increment();
//         co_return first + co_await counter.increment();
//     }
//     spawn(report(counter), executor);
//
// A task runs on the executor of its awaiter until it enters an actor (see Actor.h). When it ends, its awaiter
// continues on the awaiter's own executor. If the task has ended before its awaiter suspends, the awaiter continues at
// once. Such tasks therefore do not grow the stack, even if the executor resumes inside post.
//
// Two rules keep coroutines safe. A coroutine takes its parameters by value and is a function or a member function,
// never a lambda with captures. The operand of co_await is a plain call on names, a name or std::move(name), because
// g++ 12 destroys the temporaries of other operands twice.
#pragma once

#include "kit/concurrency/Executor.h"
#include "kit/support/unwrap.h"

#include <atomic>
#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

namespace VostelMCPKit {

/// Every coroutine's promise has it: the executor that resumes the coroutine next.
struct TaskContext {
    /// Set before the coroutine first runs.
    Executor* executor = nullptr;
};

template <class T>
class [[nodiscard]] Task;

namespace task_detail {

class Promise : public TaskContext {
public:
    struct FinalAwaiter {
        bool await_ready() const noexcept { return false; }
        template <class P>
        void await_suspend(std::coroutine_handle<P> ended) const noexcept {
            ended.promise().handBack();
        }
        void await_resume() const noexcept {} // Unreachable in tests: an ended task is not resumed.
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    /// Only a failed allocation throws here, and it ends the process.
    void unhandled_exception() const noexcept { std::terminate(); }

    /// Runs the task `self` up to its first real suspension. True when the awaiter has to wait for it.
    bool begin(std::coroutine_handle<> self, std::coroutine_handle<> awaiter, Executor* awaiterExecutor) {
        executor = awaiterExecutor;
        awaiter_ = awaiter;
        awaiterExecutor_ = awaiterExecutor;
        self.resume();
        return !arrived_.exchange(true, std::memory_order_acq_rel);
    }

private:
    /// Called when the task has ended. The task may end on one thread while its awaiter suspends on another. Whichever
    /// comes second resumes the awaiter.
    void handBack() noexcept {
        if (!arrived_.exchange(true, std::memory_order_acq_rel)) return;
        if (awaiterExecutor_ == executor) {
            awaiter_.resume();
        } else {
            awaiterExecutor_->post(awaiter_);
        }
    }

    std::coroutine_handle<> awaiter_;
    Executor* awaiterExecutor_ = nullptr;
    std::atomic<bool> arrived_ = false;
};

template <class T>
class ValuePromise : public Promise {
public:
    Task<T> get_return_object();
    void return_value(T value) { value_.emplace(std::move(value)); }
    T take() { return unwrap(std::move(value_)); }

private:
    std::optional<T> value_;
};

template <>
class ValuePromise<void> : public Promise {
public:
    Task<void> get_return_object();
    void return_void() const noexcept {}
    void take() const noexcept {}
};

} // namespace task_detail

/// Owns the coroutine. Move-only; awaited at most once. Destroying it before it is awaited drops the operation;
/// destroying it while it runs is a programming error.
template <class T>
class [[nodiscard]] Task final {
public:
    /// Named by the language.
    using promise_type = task_detail::ValuePromise<T>;

    /// For the promise only: a coroutine that returns Task<T> makes one.
    explicit Task(std::coroutine_handle<promise_type> coroutine) : coroutine_{coroutine} {}
    Task(Task&& other) noexcept : coroutine_{std::exchange(other.coroutine_, nullptr)} {}
    Task& operator=(Task&&) = delete;
    ~Task() {
        if (coroutine_) coroutine_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <class P>
    bool await_suspend(std::coroutine_handle<P> awaiter) {
        return coroutine_.promise().begin(coroutine_, awaiter, awaiter.promise().executor);
    }
    T await_resume() { return coroutine_.promise().take(); }

private:
    std::coroutine_handle<promise_type> coroutine_;
};

namespace task_detail {

template <class T>
Task<T> ValuePromise<T>::get_return_object() {
    return Task<T>{std::coroutine_handle<ValuePromise>::from_promise(*this)};
}

inline Task<void> ValuePromise<void>::get_return_object() {
    return Task<void>{std::coroutine_handle<ValuePromise>::from_promise(*this)};
}

/// A coroutine that is not awaited and that frees itself at its end.
struct Detached {
    struct promise_type : TaskContext {
        Detached get_return_object() { return {std::coroutine_handle<promise_type>::from_promise(*this)}; }
        std::suspend_always initial_suspend() const noexcept { return {}; }
        std::suspend_never final_suspend() const noexcept { return {}; }
        void return_void() const noexcept {}
        void unhandled_exception() const noexcept { std::terminate(); }
    };

    static Detached running(Task<void> task) { co_await std::move(task); }

    std::coroutine_handle<promise_type> coroutine;
};

} // namespace task_detail

/// See yield.
struct Yield {
    bool await_ready() const noexcept { return false; }
    template <class P>
    void await_suspend(std::coroutine_handle<P> continuation) const {
        continuation.promise().executor->post(continuation);
    }
    void await_resume() const noexcept {}
};

/// `co_await yield();` posts the rest of this coroutine to its executor. Its callers are suspended when it continues.
[[nodiscard]] inline Yield yield() { return {}; }

/// Runs `task` on `executor` without waiting for its end. Callable from any thread; `executor` must outlive the task.
inline void spawn(Task<void> task, Executor& executor) {
    const auto detached = task_detail::Detached::running(std::move(task));
    detached.coroutine.promise().executor = &executor;
    executor.post(detached.coroutine);
}

} // namespace VostelMCPKit
