// Where the parts of a coroutine run.
#pragma once

#include <coroutine>

namespace VostelMCPKit {

/// The program implements it, for example with a queue and a thread; a test drains one by hand. An executor must
/// outlive every task that runs on it.
class Executor {
public:
    /// Resumes `continuation`, a suspended coroutine, exactly once: now or later, on a thread that the executor
    /// chooses. Callable from any thread.
    virtual void post(std::coroutine_handle<> continuation) = 0;

protected:
    ~Executor() = default;
};

} // namespace VostelMCPKit
