// Reads one string from an XML property list, such as the Info.plist of an application bundle.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vostel_mcp {

/// The string that belongs to `key` in the dictionary at the top of `propertyList`. Absent when there is none, when the
/// value has another type, or when the text before the value is malformed. The text may be hostile: this takes one pass
/// and no recursion.
[[nodiscard]] std::optional<std::string> topLevelString(std::string_view propertyList, std::string_view key);

} // namespace vostel_mcp
