// Counting text in the characters that people perceive: extended grapheme clusters (UAX #29).
#pragma once

#include <cstddef>
#include <string_view>

namespace VostelMCPKit {

/// A plain value; see countCharacters.
struct CharacterCount {
    /// All characters of the text.
    std::size_t characters = 0;
    /// The length in bytes of the first `prefixCharacters` characters; the size of the text if it has no more
    /// characters.
    std::size_t prefixBytes = 0;

    bool operator==(const CharacterCount&) const = default;
};

/// Counts the characters of `text` (UTF-8) and finds where the first `prefixCharacters` of them end, in one pass. A
/// byte that is not UTF-8 counts like U+FFFD. Thread-safe.
///
///     const CharacterCount count = countCharacters(text, 500'000);
///     if (count.characters > 500'000) text.resize(count.prefixBytes);
[[nodiscard]] CharacterCount countCharacters(std::string_view text, std::size_t prefixCharacters);

} // namespace VostelMCPKit
