#include "companion/demo/Rule.h"

#include <algorithm>

namespace vostel_companion {

namespace {

std::string inCapitals(std::string word) {
    std::ranges::transform(word, word.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return word;
}

} // namespace

std::optional<Rule> ruleThatChanges(std::string_view text) {
    std::string_view longest;
    while (!text.empty()) {
        // Spaces, full stops and line breaks separate words.
        const std::string_view word = text.substr(0, text.find_first_of(" .\n"));
        if (word.size() > longest.size()) longest = word;
        text.remove_prefix(std::min(text.size(), word.size() + 1));
    }
    if (longest.empty()) return std::nullopt;
    const std::string word{longest};
    const std::string capitals = inCapitals(word);
    return Rule{word, capitals != word ? capitals : "[" + word + "]"};
}

} // namespace vostel_companion
