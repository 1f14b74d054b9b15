// What the demo teaches Vostel.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// Put `replacement` wherever `word` was recognised.
struct Rule {
    std::string word;
    std::string replacement;

    bool operator==(const Rule&) const = default;
};

/// A rule that visibly changes `text`: for its longest word, the first of several. Absent when it has none.
[[nodiscard]] std::optional<Rule> ruleThatChanges(std::string_view text);

} // namespace vostel_companion
