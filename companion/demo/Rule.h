// The vocabulary rule that the demo adds.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Writes `replacement` wherever `word` was recognised.
struct Rule {
    std::string word;
    std::string replacement;

    bool operator==(const Rule&) const = default;
};

/// A rule that visibly changes `text`. It replaces the longest word, or the first of several. Absent if there is no
/// word.
[[nodiscard]] std::optional<Rule> ruleThatChanges(std::string_view text);

} // namespace vostel_companion
