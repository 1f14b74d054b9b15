// Measuring and cutting text as a person sees it: in extended grapheme clusters (UAX #29).
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vostel_companion {

/// How many user-perceived characters `text` (UTF-8) has.
[[nodiscard]] std::size_t characterCount(std::string_view text);

/// The first `count` user-perceived characters of `text` (UTF-8), or all of it when it is shorter.
[[nodiscard]] std::string_view openingCharacters(std::string_view text, std::size_t count);

/// `bytes` with every byte that belongs to no well-formed UTF-8 sequence replaced by U+FFFD.
[[nodiscard]] std::string repairedUTF8(std::string_view bytes);

} // namespace vostel_companion
