// Reading a value that cannot be absent at this place, for a reason that the compiler does not see: the kind of a JSON
// value has been checked, a task has ended, a record holds no number that cannot be encoded.
#pragma once

#include <cassert>
#include <expected>
#include <optional>
#include <utility>

namespace VostelMCPKit {

/// The value. An absent value is a programming error. It ends the process in builds with assertions. A release does not
/// check it, so the behaviour is undefined there.
template <class T>
[[nodiscard]] T unwrap(std::optional<T>&& optional) {
    assert(optional.has_value());
    return *std::move(optional);
}
/// The same for a result.
template <class T, class E>
[[nodiscard]] T unwrap(std::expected<T, E>&& expected) {
    assert(expected.has_value());
    return *std::move(expected);
}

} // namespace VostelMCPKit
