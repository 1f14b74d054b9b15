// Shared by the editors of configuration files: places in a text, and replacing them.
//
// Offsets count bytes of the whole text, a byte order mark at its start included.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The bytes from `begin` up to `end`.
struct ConfigRange {
    std::size_t begin = 0;
    std::size_t end = 0;

    [[nodiscard]] std::string_view in(std::string_view text) const { return text.substr(begin, end - begin); }

    bool operator==(const ConfigRange&) const = default;
};

/// A place as text editors count it, from 1. Columns are code points.
struct ConfigPosition {
    std::size_t line = 1;
    std::size_t column = 1;

    bool operator==(const ConfigPosition&) const = default;
};

[[nodiscard]] ConfigPosition positionOf(std::string_view text, std::size_t offset);

/// Where the content begins: after the byte order mark, if there is one.
[[nodiscard]] std::size_t contentStart(std::string_view text);

/// The last line break of the text, "\n" without one.
[[nodiscard]] std::string_view lineBreakOf(std::string_view text);

[[nodiscard]] std::string replaced(std::string_view text, ConfigRange range, std::string_view with);

/// `text` (UTF-8) as a JSON string. Without control characters it is a TOML string as well.
[[nodiscard]] std::string quotedText(std::string_view text);

} // namespace vostel_companion
