// The executors that borrow threads: a piece of work runs on the thread that posts it, before post returns.
//
// No thread ever runs another thread's work, so nobody inherits a blocking write that somebody else began, and a call
// pays for no hop between threads. A piece that is posted from within another one waits until that one has ended: a
// thread is inside at most one actor at a time, so actors that call each other cannot lock each other out.
#pragma once

#include "kit/concurrency/Executor.h"

#include <mutex>

namespace vostel_mcp {

/// Runs each piece on the posting thread, as it comes.
class InlineExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;
};

/// Runs each piece on the posting thread, one at a time: a thread that comes while another is inside waits its turn.
/// What isolates an actor.
class SerialExecutor final : public VostelMCPKit::Executor {
public:
    void post(std::coroutine_handle<> continuation) override;

private:
    std::mutex turn_;
};

} // namespace vostel_mcp
