// Text from others, such as paths and names, inside our sentences.
#pragma once

#include <string>
#include <string_view>

namespace vostel_companion {

/// `text` in single quotes, safe in one line of a message. Control characters and broken UTF-8 become U+FFFD. What
/// exceeds 300 bytes becomes an ellipsis.
[[nodiscard]] std::string inQuotes(std::string_view text);

/// All of `text` in double quotes, for a list that the user confirms. A quote or backslash inside has a backslash
/// before it, so one text cannot be read as two.
[[nodiscard]] std::string inDoubleQuotes(std::string_view text);

} // namespace vostel_companion
