// Other people's text on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace vostel_companion {

/// Takes the first code point off `text` (not empty) and returns it; or U+FFFD for what a terminal would act on or what
/// would show a text in another order than it has: control characters, line separators, direction overrides and broken
/// UTF-8. The joiners without which some scripts and emoji fall apart are returned.
[[nodiscard]] char32_t takePrintable(std::string_view& text);

/// `text` of such code points alone, and line feeds and tabs.
[[nodiscard]] std::string printable(std::string_view text);

/// The same in one line: line feeds and tabs become spaces.
[[nodiscard]] std::string printableLine(std::string_view text);

} // namespace vostel_companion
