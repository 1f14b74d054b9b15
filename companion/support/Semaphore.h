// Limits how much of one kind of work runs at once.
#pragma once

#include "companion/support/BoundedPool.h"

#include <variant>

namespace vostel_companion {

/// A fair semaphore, for work that would overload the machine if all callers did it at once. Callers beyond the limit
/// wait in the order in which they came. Thread-safe.
class Semaphore final {
    struct Token {};
    using Pool = BoundedPool<Token, std::monostate>;

public:
    /// The right to work, until it is destroyed.
    using Permit = Pool::Lease;

    explicit Semaphore(std::size_t limit) : pool_{limit, [] { return std::make_unique<Token>(); }} {}

    /// Waits for a permit. Absent if `cancellation` came first. For `whileWaiting`, see BoundedPool::borrow.
    [[nodiscard]] std::optional<Permit> acquire(Cancellation& cancellation,
                                                const std::function<void(std::size_t)>& whileWaiting = {}) {
        auto permit = pool_.borrow(cancellation, whileWaiting);
        return permit ? *std::move(permit) : std::nullopt;
    }

private:
    Pool pool_;
};

} // namespace vostel_companion
