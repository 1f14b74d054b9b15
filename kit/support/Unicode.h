// The questions about Unicode text that more than one part asks; the tables are utf8proc's. CharacterCount has the one
// about characters as people perceive them. What only the companion wants to know of a character, such as its category,
// it asks utf8proc itself. All functions are thread-safe.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// Whether every byte belongs to a well-formed UTF-8 sequence (RFC 3629: no surrogates, nothing overlong).
[[nodiscard]] bool isValidUTF8(std::string_view bytes);
/// How many of the bytes, from the first on, are well-formed; the offset of the first byte that is not.
[[nodiscard]] std::size_t validUTF8Prefix(std::string_view bytes);

/// The first code point of `text`, which is not empty, and its bytes taken off. Absent for a byte that begins no
/// well-formed sequence; that byte alone is then taken off.
[[nodiscard]] std::optional<char32_t> takeCodePoint(std::string_view& text);

/// Whether a code point is one of the invisible joiners U+200C and U+200D.
[[nodiscard]] constexpr bool isJoiner(char32_t codePoint) { return codePoint == 0x200C || codePoint == 0x200D; }

/// `bytes` with U+FFFD in place of every byte that belongs to no well-formed sequence.
[[nodiscard]] std::string repairedUTF8(std::string_view bytes);

/// Appends the UTF-8 form of `codePoint`, which must not be a surrogate.
void appendUTF8(char32_t codePoint, std::string& out);

/// `text` (UTF-8) without the white space and line breaks at both ends: every code point of the separator categories
/// (Zs, Zl, Zp), the controls from tab to carriage return, and the next-line control U+0085.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// Takes the first code point off `text` (UTF-8, not empty) and returns it with its letter case folded (simple folding,
/// to one code point). A byte that is not UTF-8 is returned as it is.
[[nodiscard]] char32_t takeFolded(std::string_view& text);

} // namespace VostelMCPKit
