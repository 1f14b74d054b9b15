// Makes long texts from short ones.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vostel_tests {

[[nodiscard]] inline std::string repeat(std::string_view piece, std::size_t times) {
    std::string text;
    text.reserve(piece.size() * times);
    while (times-- > 0) text += piece;
    return text;
}

} // namespace vostel_tests
