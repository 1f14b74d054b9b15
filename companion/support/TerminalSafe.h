// Makes text from others safe to print on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace vostel_companion {

/// Removes the first code point from `text`, which is not empty, and returns it. Returns U+FFFD for control characters,
/// line separators, direction overrides and broken UTF-8, because a terminal would act on them or reorder the text.
/// Joiners are returned, because some scripts and emoji need them.
[[nodiscard]] char32_t takePrintable(std::string_view& text);

/// `text` with only such code points, line feeds and tabs.
[[nodiscard]] std::string printable(std::string_view text);

/// The same in one line, with spaces for line feeds and tabs.
[[nodiscard]] std::string printableLine(std::string_view text);

} // namespace vostel_companion
