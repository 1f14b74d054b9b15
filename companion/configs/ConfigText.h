// What the editors of configuration files share: places in a text, and replacing one of them.
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

/// A place as editors count it, from 1; columns in code points.
struct ConfigPosition {
    std::size_t line = 1;
    std::size_t column = 1;

    bool operator==(const ConfigPosition&) const = default;
};

[[nodiscard]] ConfigPosition positionOf(std::string_view text, std::size_t offset);

/// Where the content begins: behind the byte order mark, if there is one.
[[nodiscard]] std::size_t contentStart(std::string_view text);

/// The line break that ends the last line with one, "\n" when there is none.
[[nodiscard]] std::string_view lineBreakOf(std::string_view text);

[[nodiscard]] std::string replaced(std::string_view text, ConfigRange range, std::string_view with);

/// `text` (UTF-8) as a JSON string; for a text without control characters that is a TOML string as well.
[[nodiscard]] std::string quotedText(std::string_view text);

} // namespace vostel_companion
