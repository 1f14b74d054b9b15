// Applies the vocabulary to recognised text.
//
// A rule applies to its exact word form wherever that stands as a whole word, letter case ignored. Of several rules
// that begin at one place the longest wins, and what was replaced is not looked at again. The rules are held as a tree
// of folded characters, so one pass over the text serves all of them.
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

/// Immutable, so it may serve several threads.
class VocabularyMatcher final {
public:
    explicit VocabularyMatcher(std::span<const VocabularyRule> rules);

    [[nodiscard]] std::string apply(std::string_view text) const;
    /// Applies the rules across the segments, as if one space stood between them. Segments that one match joins become
    /// one, from the start of the first to the end of the last.
    [[nodiscard]] std::vector<TranscriptSegment> apply(std::span<const TranscriptSegment> segments) const;

private:
    /// Bytes of a text, and what comes in their place.
    struct Match {
        std::size_t begin;
        std::size_t end;
        std::string_view replacement;
    };
    struct Node {
        /// Ordered by character.
        std::vector<std::pair<char32_t, std::uint32_t>> children;
        /// What the rule that ends here puts in its place.
        std::optional<std::string> replacement;
    };

    [[nodiscard]] std::vector<Match> find(std::string_view text) const;
    void insert(const VocabularyRule& rule);

    std::vector<Node> nodes_;
};

} // namespace vostel_companion
