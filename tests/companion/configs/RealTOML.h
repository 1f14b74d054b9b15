// A TOML parser that is not ours, to judge what ours writes.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace vostel_companion {

/// What `text` says, dates as strings; absent when the parser rejects it.
std::optional<nlohmann::json> parseTOML(std::string_view text);

} // namespace vostel_companion
