// Reading an optional whose value cannot be absent here, for a reason that the compiler does not see: the kind of a
// JSON value was asked before, a task has ended. Costs nothing in a release; elsewhere an absent value ends the
// process.
#pragma once

#include <cassert>
#include <optional>
#include <utility>

namespace VostelMCPKit {

template <class T>
[[nodiscard]] T present(std::optional<T>&& optional) {
    assert(optional.has_value());
    return *std::move(optional);
}

} // namespace VostelMCPKit
