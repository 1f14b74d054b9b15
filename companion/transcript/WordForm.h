// How vocabulary words are compared with recognised text: letter case, canonical equivalents, kinds of white space and
// kinds of apostrophe make no difference, everything else does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// One code point of a folded text, and the byte of the original at which the character it came from begins.
struct FoldedCharacter {
    char32_t codePoint = 0;
    std::uint32_t begin = 0;

    bool operator==(const FoldedCharacter&) const = default;
};

/// `text` (UTF-8, less than 4 GiB) with full case folding and canonical decomposition applied, and each run of white
/// space as one space.
[[nodiscard]] std::vector<FoldedCharacter> folded(std::string_view text);

/// Whether a word can begin or end before `text[position]`: not inside a word as UAX #29 sees it, apostrophes and
/// decimal points between letters or digits included. Chinese characters, hiragana and the scripts of South East Asia
/// do not separate words, so there a word can begin and end at every character.
[[nodiscard]] bool isWordBoundary(const std::vector<FoldedCharacter>& text, std::size_t position);

/// What two spellings of one word share.
[[nodiscard]] std::string wordKey(std::string_view word);

/// The longest word that a rule may have, in code points.
inline constexpr std::size_t longestWord = 200;

/// A word or phrase as it is kept and shown: composed, white space trimmed and each run of it one space, without
/// controls and invisible formatting (which could deceive the person asked to confirm something on a terminal). Empty
/// when nothing usable is left: no letter and no digit, or more than longestWord code points.
[[nodiscard]] std::string normalizedWord(std::string_view word);

} // namespace vostel_companion
