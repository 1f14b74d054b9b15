// Orders a call and its cancellation: which of their frames is sent, in which order, and whether a line of the call may
// still begin.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/stdio/LineGate.h"

#include <coroutine>
#include <mutex>
#include <vector>

namespace vostel_mcp {

/// Shared by the threads of one call and by the cancellations that name it. Thread-safe.
class CallCancellation final {
public:
    CallCancellation() = default;
    CallCancellation(const CallCancellation&) = delete;
    CallCancellation& operator=(const CallCancellation&) = delete;

    /// The writer asks it before every line of the call. The cancellation closes it.
    [[nodiscard]] VostelMCPKit::LineGate& lines() { return lines_; }

    /// The client cancelled the call: from now on, no line of it begins. True when the application must be told. False
    /// when the request will never be sent.
    [[nodiscard]] bool cancel();

    // The steps of the request. Each is called at most once, in this order.

    /// False for a cancelled call, which launches nothing.
    [[nodiscard]] bool mayLaunch();
    /// False for a cancelled call, whose request is not sent. Deliberate: a call that was cancelled while the
    /// application was being launched for it is sent nevertheless.
    [[nodiscard]] bool mayBeginRequest();
    /// The request has been written, or writing it has failed.
    void endRequest();

    /// Returns when a cancellation may be sent. While the request is being written, it waits for the end of the
    /// request. Otherwise the application could receive the cancellation before the call.
    [[nodiscard]] VostelMCPKit::Task<void> requestIsOut();

private:
    enum class Request { notBegun, launching, beingWritten, out };

    /// Suspends a cancellation while the request is being written.
    struct Writing {
        CallCancellation& call;

        bool await_ready() const noexcept { return false; }
        template <class P>
        bool await_suspend(std::coroutine_handle<P> cancellation) const {
            return call.waits({cancellation, cancellation.promise().executor});
        }
        void await_resume() const noexcept {}
    };
    struct Waiting {
        std::coroutine_handle<> cancellation;
        VostelMCPKit::Executor* executor;
    };

    bool waits(Waiting cancellation);

    VostelMCPKit::LineGate lines_;
    std::mutex mutex_;
    Request request_ = Request::notBegun;
    bool cancelled_ = false;
    std::vector<Waiting> waiting_;
};

} // namespace vostel_mcp
