// An executor for tests. It runs continuations on the test's own thread, and only when the test wants it.
#pragma once

#include "kit/concurrency/Task.h"

#include <deque>
#include <optional>

namespace vostel_tests {

class ManualExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override { continuations_.push_back(continuation); }

    /// Runs all posted continuations, and those that they post, until none is left.
    void drain() {
        while (step()) {}
    }

    /// Runs one continuation. Returns false if none is posted.
    bool step() {
        if (continuations_.empty()) return false;
        const auto continuation = continuations_.front();
        continuations_.pop_front();
        continuation.resume();
        return true;
    }

    /// Runs `task` and all continuations until none is left. Absent when `task` has not ended by then.
    template <class T>
    std::optional<T> run(VostelMCPKit::Task<T> task) {
        std::optional<T> result;
        spawn(storing(std::move(task), &result), *this);
        drain();
        return result;
    }

private:
    template <class T>
    static VostelMCPKit::Task<void> storing(VostelMCPKit::Task<T> task, std::optional<T>* result) {
        result->emplace(co_await std::move(task));
    }

    std::deque<std::coroutine_handle<>> continuations_;
};

} // namespace vostel_tests
