// Other people's text on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace vostel_companion {

/// `text` without anything that a terminal would act on or that would show the text in another order than it has:
/// control characters, line separators, direction overrides and broken UTF-8 become U+FFFD. Line feeds and tabs stay,
/// and so do the joiners without which some scripts and emoji fall apart.
[[nodiscard]] std::string printable(std::string_view text);

/// The same in one line: line feeds and tabs become spaces.
[[nodiscard]] std::string printableLine(std::string_view text);

} // namespace vostel_companion
