// The queue of input lines from the reader thread to the server loop.
#pragma once

#include "kit/concurrency/Task.h"

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vostel_mcp {

/// Unbounded: the reader never waits for the loop, and no line is dropped. One reader, one consumer.
class LineChannel final {
public:
    void push(std::vector<std::string> lines);
    /// Call it after the last line.
    void finish();

    /// Waits for the next line. Absent when the channel is finished and empty.
    VostelMCPKit::Task<std::optional<std::string>> next();

private:
    /// Suspends the consumer until there is a line, or until the end.
    struct Arrival {
        LineChannel& channel;

        bool await_ready() const noexcept { return false; }
        template <class P>
        bool await_suspend(std::coroutine_handle<P> consumer) const {
            return channel.waitsFor(consumer, consumer.promise().executor);
        }
        void await_resume() const noexcept {}
    };

    Arrival arrival() { return {*this}; }
    bool waitsFor(std::coroutine_handle<> consumer, VostelMCPKit::Executor* executor);
    void wakeConsumer(std::unique_lock<std::mutex> lock);

    std::mutex mutex_;
    std::deque<std::string> lines_;
    bool finished_ = false;
    std::coroutine_handle<> consumer_;
    VostelMCPKit::Executor* consumerExecutor_ = nullptr;
};

} // namespace vostel_mcp
