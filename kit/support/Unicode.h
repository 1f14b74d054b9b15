// The few questions about Unicode text that the system asks; the tables are utf8proc's.
#pragma once

#include <string>
#include <string_view>

namespace VostelMCPKit {

/// Whether every byte belongs to a well-formed UTF-8 sequence (RFC 3629: no surrogates, nothing overlong).
[[nodiscard]] bool isValidUTF8(std::string_view bytes);
/// How many of the bytes, from the first on, are well-formed; the offset of the first byte that is not.
[[nodiscard]] std::size_t validUTF8Prefix(std::string_view bytes);

/// `bytes` with U+FFFD in place of every byte that belongs to no well-formed sequence.
[[nodiscard]] std::string repairedUTF8(std::string_view bytes);

/// Appends the UTF-8 form of `codePoint`, which is no surrogate.
void appendUTF8(char32_t codePoint, std::string& out);

/// `text` (UTF-8) without the white space and line breaks at both ends: every code point of the separator categories
/// (Zs, Zl, Zp), the controls from tab to carriage return, and the next-line control U+0085.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// Takes the first code point off `text` (UTF-8, not empty) and folds its letter case, code point by code point. A byte
/// that is no UTF-8 stands for itself.
[[nodiscard]] char32_t takeFolded(std::string_view& text);

} // namespace VostelMCPKit
