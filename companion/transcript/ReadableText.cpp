#include "companion/transcript/ReadableText.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <string_view>

namespace vostel_companion {

namespace {

using namespace std::string_view_literals;

bool isTaught(std::string_view word, std::span<const VocabularyRule> vocabulary) {
    return std::ranges::any_of(vocabulary, [&](const VocabularyRule& rule) {
        return word == (rule.replacement.empty() ? rule.word : rule.replacement);
    });
}

/// "I", "I'm", "I've".
bool isFirstPerson(std::string_view word) { return word == "i" || word.starts_with("i'"); }

bool hasCapital(std::string_view word) {
    while (!word.empty()) {
        std::string_view rest = word;
        const auto codePoint = VostelMCPKit::takeCodePoint(rest);
        if (codePoint && VostelMCPKit::takeFolded(word) != *codePoint) return true;
        word = rest;
    }
    return false;
}

/// "Hello" of "hello", "'Tis" of "'tis". A word with a capital, such as "iPhone", stays as it is.
std::string capitalised(std::string_view word) {
    if (hasCapital(word.substr(0, word.find(' ')))) return std::string{word};
    std::string text;
    while (!word.empty()) {
        std::string_view rest = word;
        const char32_t codePoint = VostelMCPKit::takeCodePoint(rest).value_or(U'\uFFFD');
        const auto category = VostelMCPKit::categoryOf(codePoint);
        if (category == VostelMCPKit::Category::letter) {
            VostelMCPKit::appendUTF8(VostelMCPKit::titleCase(codePoint), text);
            return text.append(rest);
        }
        if (category == VostelMCPKit::Category::number) break;
        text += word.substr(0, word.size() - rest.size());
        word = rest;
    }
    return text.append(word);
}

/// Whether the word already ends with a punctuation mark, as "etc." does. No full stop may follow then.
bool endsWithMark(std::string_view word) {
    return std::ranges::any_of(std::initializer_list{"."sv, "!"sv, "?"sv, ":"sv, ";"sv, ","sv, "…"sv},
                               [&](std::string_view mark) { return word.ends_with(mark); });
}

} // namespace

std::string readableText(std::span<const TranscriptSegment> words, const std::optional<std::string>& language,
                         std::span<const VocabularyRule> vocabulary) {
    const bool isEnglish = language == "en";
    std::string text;
    bool beginsSentence = true;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const TranscriptSegment& word = words[index];
        const bool isChanged = beginsSentence || (isEnglish && isFirstPerson(word.text));
        text += isChanged && !isTaught(word.text, vocabulary) ? capitalised(word.text) : word.text;

        const bool isLast = index + 1 == words.size();
        const auto pause = isLast ? paragraphPause : words[index + 1].startTime - word.endTime;
        beginsSentence = pause >= sentencePause;
        if (beginsSentence && !endsWithMark(word.text)) text += '.';
        if (!isLast) text += pause >= paragraphPause ? "\n\n" : " ";
    }
    return text;
}

} // namespace vostel_companion
