// So many at a time and no more.
#pragma once

#include "companion/support/BoundedPool.h"

#include <variant>

namespace vostel_companion {

/// Work that would be too much for the machine if all callers did it at once. Those beyond the limit wait in the order
/// in which they came. Thread-safe.
class Turns final {
public:
    struct Turn {};
    using Pool = BoundedPool<Turn, std::monostate>;

    explicit Turns(std::size_t limit) : pool_{limit, [] { return std::make_unique<Turn>(); }} {}

    /// The right to work, until it is destroyed; absent when `cancellation` came first.
    [[nodiscard]] std::optional<Pool::Lease> wait(Cancellation& cancellation) {
        auto lease = pool_.borrow(cancellation);
        return lease ? *std::move(lease) : std::nullopt;
    }

private:
    Pool pool_;
};

} // namespace vostel_companion
