// How vocabulary words are compared with recognised text: they match if they differ only in letter case, canonical
// equivalents, kinds of white space or kinds of apostrophe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// One code point of a folded text, and the offset in the original of the character that it comes from.
struct FoldedCharacter {
    char32_t codePoint = 0;
    std::uint32_t begin = 0;

    bool operator==(const FoldedCharacter&) const = default;
};

/// `text` (UTF-8, less than 4 GiB) after full case folding and canonical decomposition. Each run of white space is one
/// space.
[[nodiscard]] std::vector<FoldedCharacter> folded(std::string_view text);

/// Whether a word can begin or end before `text[position]`. It cannot inside a word of UAX #29, which may contain
/// apostrophes and decimal points. Text in Chinese characters, in hiragana and in the scripts of South East Asia does
/// not separate words, so there a word can begin and end at every character.
[[nodiscard]] bool isWordBoundary(const std::vector<FoldedCharacter>& text, std::size_t position);

/// The same for all spellings of one word.
[[nodiscard]] std::string wordKey(std::string_view word);

/// The longest word that a rule may have, in code points.
inline constexpr std::size_t longestWord = 200;

/// A word or phrase as it is stored and shown: composed and trimmed, with one space for each run of white space.
/// Controls and invisible formatting are removed, because they could deceive a user who confirms something on a
/// terminal. Empty when the rest is unusable: no letter and no digit, or more than longestWord code points.
[[nodiscard]] std::string normalizedWord(std::string_view word);

} // namespace vostel_companion
