// For functions that return views into the text that they are given.
//
//     std::string_view trimmed(std::string_view text);
//     void trimmed(TemporaryString auto&& text) = delete;
#pragma once

#include <concepts>
#include <string>
#include <type_traits>

namespace VostelMCPKit {

/// A std::string that is destroyed at the end of the expression. Views into it would dangle, so the compiler refuses
/// it.
template <class T>
concept TemporaryString = std::same_as<std::remove_const_t<T>, std::string>;

} // namespace VostelMCPKit
