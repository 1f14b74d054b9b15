// The properties of Unicode text. For characters as users perceive them, see CharacterCount. Only these two files call
// utf8proc. All functions are thread-safe.
#pragma once

#include "kit/support/TemporaryString.h"

#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// Whether every byte belongs to a well-formed UTF-8 sequence (RFC 3629: no surrogates, nothing overlong).
[[nodiscard]] bool isValidUTF8(std::string_view bytes);
/// The length of the longest well-formed prefix, in bytes.
[[nodiscard]] std::size_t validUTF8Prefix(std::string_view bytes);

/// Removes the first code point from `text`, which is not empty, and returns it. Absent for a byte that begins no
/// well-formed sequence; then only that byte is removed.
[[nodiscard]] std::optional<char32_t> takeCodePoint(std::string_view& text);

/// Whether a code point is one of the invisible joiners U+200C and U+200D.
[[nodiscard]] constexpr bool isJoiner(char32_t codePoint) { return codePoint == 0x200C || codePoint == 0x200D; }

/// `bytes` with U+FFFD in place of every byte that belongs to no well-formed sequence.
[[nodiscard]] std::string repairedUTF8(std::string_view bytes);

/// Appends the UTF-8 form of `codePoint`, which must not be a surrogate.
void appendUTF8(char32_t codePoint, std::string& out);

/// `text` (UTF-8) without the white space and line breaks at both ends: every code point of the separator categories
/// (Zs, Zl, Zp), the controls from tab to carriage return, and the next-line control U+0085. Lives as long as `text`.
[[nodiscard]] std::string_view trimmed(std::string_view text);
void trimmed(TemporaryString auto&& text) = delete;

/// Removes the first code point from `text` (UTF-8, not empty) and returns it with its letter case folded (simple
/// folding, to one code point). A byte that is not UTF-8 is returned as it is.
[[nodiscard]] char32_t takeFolded(std::string_view& text);

/// The form of `codePoint` at the beginning of a sentence: "A" for "a". `codePoint` itself if it has no other form.
[[nodiscard]] char32_t titleCase(char32_t codePoint);

/// The general categories of Unicode, as far as the programs need to distinguish them.
enum class Category {
    /// L*: letters of every script.
    letter,
    /// N*: digits and other numbers.
    number,
    /// Joins words, as the underscore does.
    connector,
    /// Such as the tab and the escape character.
    control,
    /// Invisible, such as the marks that change the direction of writing. The joiners are among them.
    format,
    /// The separators of lines and of paragraphs.
    lineSeparator,
    /// Not assigned, or for private use.
    unassigned,
    /// Everything else: marks, punctuation, symbols, spaces, surrogates.
    other
};
/// The category of a code point. One beyond U+10FFFF is unassigned.
[[nodiscard]] Category categoryOf(char32_t codePoint);

/// White space and line breaks, as `trimmed` understands them.
[[nodiscard]] bool isWhiteSpace(char32_t codePoint);
/// Whether `codePoint` belongs to the character before it: a combining mark, a vowel sign, the zero-width joiner.
[[nodiscard]] bool extendsCharacter(char32_t codePoint);

/// The canonical combining class. Marks of different classes after one letter mean the same in any order.
[[nodiscard]] int combiningClass(char32_t codePoint);
/// The full case folding of `codePoint`, canonically decomposed.
[[nodiscard]] std::u32string foldedDecomposition(char32_t codePoint);
/// `text` (UTF-8) in its canonical composition, NFC.
[[nodiscard]] std::string composed(const std::string& text);

} // namespace VostelMCPKit
