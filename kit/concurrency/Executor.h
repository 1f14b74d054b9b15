// Where a piece of a coroutine runs.
#pragma once

#include <coroutine>

namespace VostelMCPKit {

/// The programs choose what stands behind it, a test drains it by hand. Outlives every task that runs on it.
class Executor {
public:
    /// Runs `piece`, a suspended coroutine, once and until its next suspension: now or later, on a thread that the
    /// executor chooses. Callable from any thread.
    virtual void post(std::coroutine_handle<> piece) = 0;

protected:
    ~Executor() = default;
};

} // namespace VostelMCPKit
