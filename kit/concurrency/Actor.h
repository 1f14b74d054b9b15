// Actor: an object whose state is touched by one piece of work at a time.
#pragma once

#include "kit/concurrency/Executor.h"
#include "kit/concurrency/Task.h"

namespace VostelMCPKit {

/// Every public operation of an actor is a Task that opens with `co_await isolated()`. From there on it runs alone in
/// the actor until its next co_await: an actor serialises the pieces between suspensions, not whole operations.
class Actor {
public:
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

protected:
    /// `executor` runs one piece at a time and outlives the actor.
    explicit Actor(Executor& executor) : executor_{executor} {}
    ~Actor() = default;

    struct Isolation {
        Executor& executor;

        bool await_ready() const noexcept { return false; }
        template <class P>
        bool await_suspend(std::coroutine_handle<P> piece) const {
            if (piece.promise().executor == &executor) return false;
            piece.promise().executor = &executor;
            executor.post(piece);
            return true;
        }
        void await_resume() const noexcept {}
    };

    [[nodiscard]] Isolation isolated() const { return {executor_}; }

private:
    Executor& executor_;
};

} // namespace VostelMCPKit
