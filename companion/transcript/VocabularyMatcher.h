// Applies the vocabulary to recognised text.
//
// A rule applies wherever its exact word form is a whole word. Letter case is ignored. If several rules begin at one
// place, the longest applies. Replaced text is not searched again. The rules form a trie of folded characters, so one
// pass over the text is enough for all of them.
#pragma once

#include "companion/transcript/Transcript.h"
#include "companion/transcript/VocabularyRule.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vostel_companion {

/// Immutable, so several threads may use it.
class VocabularyMatcher final {
public:
    explicit VocabularyMatcher(std::span<const VocabularyRule> rules);

    [[nodiscard]] std::string apply(std::string_view text) const;
    /// Applies the rules across the segments, as if one space separated them. Segments that one match covers become one
    /// segment, from the start of the first to the end of the last.
    [[nodiscard]] std::vector<TranscriptSegment> apply(std::span<const TranscriptSegment> segments) const;

private:
    /// Bytes of a text, and their replacement.
    struct Match {
        std::size_t begin;
        std::size_t end;
        std::string_view replacement;
    };
    struct Node {
        /// Ordered by character.
        std::vector<std::pair<char32_t, std::uint32_t>> children;
        /// The replacement of the rule that ends here.
        std::optional<std::string> replacement;
    };

    [[nodiscard]] std::vector<Match> find(std::string_view text) const;
    void insert(const VocabularyRule& rule);

    std::vector<Node> nodes_;
};

} // namespace vostel_companion
