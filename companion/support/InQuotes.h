// Other people's text inside our sentences.
#pragma once

#include <string>
#include <string_view>

namespace vostel_companion {

/// `text` between single quotes, fit to stand in one line of a message: control characters and broken UTF-8 become
/// U+FFFD, and what goes beyond 300 bytes an ellipsis.
[[nodiscard]] std::string inQuotes(std::string_view text);

} // namespace vostel_companion
