#include "companion/tools/TruncatedTranscript.h"

#include "kit/support/CharacterCount.h"
#include "kit/support/Unicode.h"
#include "kit/tools/MCPOutputLimit.h"

#include <algorithm>
#include <utility>

namespace vostel_companion {

namespace MCPOutputLimit = VostelMCPKit::MCPOutputLimit;
using VostelMCPKit::countCharacters;

TruncatedTranscript::TruncatedTranscript(std::string text, std::vector<std::size_t> ends, SaveWhole saveWhole)
    : text_{std::move(text)}, ends_{std::move(ends)}, saveWhole_{std::move(saveWhole)} {
    const auto count = countCharacters(text_, MCPOutputLimit::limit);
    characters_ = count.characters;
    parts_ = static_cast<std::size_t>(std::ranges::upper_bound(ends_, count.prefixBytes) - ends_.begin());
}

std::string TruncatedTranscript::shown(std::size_t parts) {
    const bool isLong = characters_ > MCPOutputLimit::limit;
    if (parts >= parts_) return MCPOutputLimit::shape({.text = text_, .path = isLong ? savedAt() : std::nullopt}).text;

    std::string_view beginning = std::string_view{text_}.substr(0, parts > 0 ? ends_[parts - 1] : 0);
    beginning = beginning.substr(0, VostelMCPKit::validUTF8Prefix(beginning));
    const std::size_t shownCharacters = countCharacters(beginning, 0).characters;
    return std::string{beginning} +
           MCPOutputLimit::truncationNotice({.shown = shownCharacters, .full = characters_}, savedAt());
}

const std::optional<std::string>& TruncatedTranscript::savedAt() {
    if (!std::exchange(isSaved_, true)) savedAt_ = saveWhole_();
    return savedAt_;
}

std::vector<std::size_t> endsOfWords(std::string_view text) {
    const auto isSpace = [&](std::size_t index) { return text[index] == ' ' || text[index] == '\n'; };
    std::vector<std::size_t> ends;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool isEnd = !isSpace(index) && (index + 1 == text.size() || isSpace(index + 1));
        if (isEnd) ends.push_back(index + 1);
    }
    return ends;
}

} // namespace vostel_companion
