// An independent TOML parser. It checks what our code writes.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace vostel_companion {

/// The values in `text`, with dates as strings. Absent if the parser rejects it.
std::optional<nlohmann::json> parseTOML(std::string_view text);

} // namespace vostel_companion
