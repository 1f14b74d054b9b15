#include "companion/transcript/VocabularyMatcher.h"

#include "companion/transcript/WordForm.h"

#include <algorithm>

namespace vostel_companion {

VocabularyMatcher::VocabularyMatcher(std::span<const VocabularyRule> rules) : nodes_{1} {
    for (const VocabularyRule& rule : rules) insert(rule);
}

void VocabularyMatcher::insert(const VocabularyRule& rule) {
    std::uint32_t node = 0;
    for (const FoldedCharacter& character : folded(rule.word)) {
        auto& children = nodes_[node].children;
        const auto place =
            std::ranges::lower_bound(children, character.codePoint, {}, &std::pair<char32_t, std::uint32_t>::first);
        if (place != children.end() && place->first == character.codePoint) {
            node = place->second;
            continue;
        }
        const auto added = static_cast<std::uint32_t>(nodes_.size());
        children.insert(place, {character.codePoint, added});
        nodes_.emplace_back();
        node = added;
    }
    // An empty word ends at the root. It must match nothing.
    if (node != 0) nodes_[node].replacement = rule.replacement.empty() ? rule.word : rule.replacement;
}

std::vector<VocabularyMatcher::Match> VocabularyMatcher::find(std::string_view text) const {
    std::vector<Match> matches;
    if (nodes_.size() == 1) return matches;
    const std::vector<FoldedCharacter> characters = folded(text);
    for (std::size_t start = 0; start < characters.size();) {
        std::size_t end = start;
        const std::string* replacement = nullptr;
        const Node* node = isWordBoundary(characters, start) ? nodes_.data() : nullptr;
        for (std::size_t next = start; node != nullptr && next < characters.size();) {
            const auto child = std::ranges::lower_bound(node->children, characters[next].codePoint, {},
                                                        &std::pair<char32_t, std::uint32_t>::first);
            if (child == node->children.end() || child->first != characters[next].codePoint) break;
            node = &nodes_[child->second];
            ++next;
            if (node->replacement && isWordBoundary(characters, next)) {
                end = next;
                replacement = &*node->replacement;
            }
        }
        if (replacement == nullptr) {
            ++start;
            continue;
        }
        const std::size_t endByte = end < characters.size() ? characters[end].begin : text.size();
        matches.push_back({characters[start].begin, endByte, *replacement});
        start = end;
    }
    return matches;
}

std::string VocabularyMatcher::apply(std::string_view text) const {
    std::string result;
    std::size_t position = 0;
    for (const Match& match : find(text)) {
        result += text.substr(position, match.begin - position);
        result += match.replacement;
        position = match.end;
    }
    result += text.substr(position);
    return result;
}

std::vector<TranscriptSegment> VocabularyMatcher::apply(std::span<const TranscriptSegment> segments) const {
    std::string text;
    std::vector<std::size_t> ends;
    for (const TranscriptSegment& segment : segments) {
        if (!ends.empty()) text += ' ';
        text += segment.text;
        ends.push_back(text.size());
    }
    const std::vector<Match> matches = find(text);

    std::vector<TranscriptSegment> result;
    auto match = matches.begin();
    for (std::size_t first = 0; first < segments.size();) {
        std::size_t last = first;
        std::size_t position = first == 0 ? 0 : ends[first - 1] + 1;
        std::string joined;
        for (; match != matches.end() && match->begin < ends[last]; ++match) {
            while (match->end > ends[last]) ++last;
            joined += std::string_view{text}.substr(position, match->begin - position);
            joined += match->replacement;
            position = match->end;
        }
        joined += std::string_view{text}.substr(position, ends[last] - position);
        result.push_back({std::move(joined), segments[first].startTime, segments[last].endTime});
        first = last + 1;
    }
    return result;
}

} // namespace vostel_companion
