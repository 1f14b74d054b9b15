// Counting text in the characters that people perceive: extended grapheme clusters (UAX #29).
#pragma once

#include <cstddef>
#include <string_view>

namespace VostelMCPKit {

struct CharacterCount {
    /// All characters of the text.
    std::size_t characters = 0;
    /// Bytes of the first characters, as many as were asked for; of the whole text when it has no more.
    std::size_t prefixBytes = 0;

    bool operator==(const CharacterCount&) const = default;
};

/// Counts the characters of `text` (UTF-8) and finds where the first `prefixCharacters` of them end, in one pass. A
/// byte that is no UTF-8 counts as a character that stands for itself.
[[nodiscard]] CharacterCount countCharacters(std::string_view text, std::size_t prefixCharacters);

} // namespace VostelMCPKit
