// Actor: an object whose state only one coroutine touches at a time, without a lock.
//
//     class Counter final : public Actor {
//     public:
//         explicit Counter(Executor& executor) : Actor{executor} {}
//         Task<int> increment() {
//             co_await isolated();
//             co_return ++count_;
//         }
//     private:
//         int count_ = 0;
//     };
#pragma once

#include "kit/concurrency/Executor.h"
#include "kit/concurrency/Task.h"

namespace VostelMCPKit {

/// Every public operation of an actor is a Task that begins with `co_await isolated()`. From there on it runs alone in
/// the actor until its next co_await: an actor serialises the parts between suspensions, not whole operations.
/// Operations may be called from any thread. The actor must outlive its running operations.
class Actor {
public:
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

protected:
    /// `executor` runs one continuation at a time and outlives the actor.
    explicit Actor(Executor& executor) : executor_{executor} {}
    ~Actor() = default;

    struct Isolation {
        Executor& executor;

        bool await_ready() const noexcept { return false; }
        template <class P>
        bool await_suspend(std::coroutine_handle<P> continuation) const {
            if (continuation.promise().executor == &executor) return false;
            continuation.promise().executor = &executor;
            executor.post(continuation);
            return true;
        }
        void await_resume() const noexcept {}
    };

    [[nodiscard]] Isolation isolated() const { return {executor_}; }

private:
    Executor& executor_;
};

} // namespace VostelMCPKit
