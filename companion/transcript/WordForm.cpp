#include "companion/transcript/WordForm.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <utf8proc.h>

namespace vostel_companion {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

/// What matters about a character for the edges of words.
enum class WordClass { letter, digit, connector, extension, midWord, other };

struct Character {
    char32_t codePoint;
    bool isWhiteSpace;
};

/// Takes the first character off `text`, which is not empty.
Character take(std::string_view& text) {
    const std::string_view before = text;
    const auto codePoint = VostelMCPKit::takeCodePoint(text);
    const std::string_view bytes = before.substr(0, before.size() - text.size());
    return {codePoint.value_or(replacementCharacter), VostelMCPKit::trimmed(bytes).empty()};
}

bool isASCIILetter(char32_t codePoint) { return (codePoint | 0x20U) >= 'a' && (codePoint | 0x20U) <= 'z'; }

utf8proc_category_t categoryOf(char32_t codePoint) {
    return utf8proc_category(static_cast<utf8proc_int32_t>(codePoint));
}

/// Scripts written without spaces between words. utf8proc knows categories, not scripts.
bool isUnseparatedScript(char32_t codePoint) {
    struct Range {
        char32_t first;
        char32_t last;
    };
    static constexpr Range ranges[] = {
        {0x0E00, 0x0EFF},   // Thai, Lao
        {0x1000, 0x109F},   // Myanmar
        {0x1780, 0x17FF},   // Khmer
        {0x2E80, 0x2FDF},   // Han radicals
        {0x3005, 0x3007},   // Han iteration mark and zero
        {0x3041, 0x309F},   // Hiragana
        {0x3400, 0x4DBF},   // Han
        {0x4E00, 0x9FFF},   // Han
        {0xAA60, 0xAA7F},   // Myanmar
        {0xF900, 0xFAFF},   // Han
        {0x20000, 0x3FFFD}, // Han
    };
    return std::ranges::any_of(ranges,
                               [&](const Range& range) { return codePoint >= range.first && codePoint <= range.last; });
}

WordClass classOf(char32_t codePoint) {
    // Most of what is recognised.
    if (isASCIILetter(codePoint)) return WordClass::letter;
    if (codePoint == ' ') return WordClass::other;
    switch (utf8proc_get_property(static_cast<utf8proc_int32_t>(codePoint))->boundclass) {
    case UTF8PROC_BOUNDCLASS_EXTEND:
    case UTF8PROC_BOUNDCLASS_SPACINGMARK:
    case UTF8PROC_BOUNDCLASS_ZWJ:
        return WordClass::extension;
    default:
        break;
    }
    switch (categoryOf(codePoint)) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
        return isUnseparatedScript(codePoint) ? WordClass::other : WordClass::letter;
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
    case UTF8PROC_CATEGORY_NO:
        return WordClass::digit;
    case UTF8PROC_CATEGORY_PC:
        return WordClass::connector;
    default:
        break;
    }
    static constexpr std::u32string_view midWord = U"'.:\u00B7\u05F4\u2027,;\u066C";
    return midWord.find(codePoint) == std::u32string_view::npos ? WordClass::other : WordClass::midWord;
}

bool isInsideWord(WordClass kind) {
    return kind == WordClass::letter || kind == WordClass::digit || kind == WordClass::connector;
}

/// Between what the character holds a word together: "don't" and "example.com" for letters, "3.14" and "1,000" for
/// digits.
bool joins(char32_t middle, WordClass before, WordClass after) {
    if (before != after) return false;
    if (before == WordClass::letter) return middle != ',' && middle != ';' && middle != 0x066C;
    if (before == WordClass::digit)
        return middle == '\'' || middle == '.' || middle == ',' || middle == ';' || middle == 0x066C;
    return false;
}

/// The class of the character that ends before `position`, its marks left out.
std::optional<std::size_t> baseBefore(const std::vector<FoldedCharacter>& text, std::size_t position) {
    while (position > 0) {
        --position;
        if (classOf(text[position].codePoint) != WordClass::extension) return position;
    }
    return std::nullopt;
}

std::string composed(const std::string& text) {
    utf8proc_uint8_t* bytes = nullptr;
    const auto length =
        utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
                     &bytes, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned{bytes, &std::free};
    if (length < 0) return text;
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

} // namespace

std::vector<FoldedCharacter> folded(std::string_view text) {
    std::vector<FoldedCharacter> result;
    result.reserve(text.size());
    // Where the marks of the current character begin, which canonical equivalence lets stand in any order.
    std::size_t marks = 0;
    const auto combiningClassOf = [](char32_t codePoint) {
        return utf8proc_get_property(static_cast<utf8proc_int32_t>(codePoint))->combining_class;
    };
    const auto sortMarks = [&] {
        if (result.size() - marks < 2) return;
        std::ranges::stable_sort(std::next(result.begin(), static_cast<std::ptrdiff_t>(marks)), result.end(), {},
                                 [&](const FoldedCharacter& mark) { return combiningClassOf(mark.codePoint); });
    };
    const auto append = [&](char32_t codePoint, std::uint32_t begin, int combiningClass) {
        if (combiningClass == 0) {
            sortMarks();
            marks = result.size() + 1;
        }
        result.push_back({codePoint, begin});
    };
    for (std::string_view rest = text; !rest.empty();) {
        const auto begin = static_cast<std::uint32_t>(text.size() - rest.size());
        if (const auto first = static_cast<unsigned char>(rest.front()); isASCIILetter(first)) {
            append(first | 0x20U, begin, /*combiningClass=*/0);
            rest.remove_prefix(1);
            continue;
        }
        const auto [codePoint, isWhiteSpace] = take(rest);
        utf8proc_int32_t parts[32];
        utf8proc_ssize_t count = 1;
        if (isWhiteSpace) {
            if (!result.empty() && result.back().codePoint == ' ') continue;
            parts[0] = ' ';
        } else if (codePoint == 0x2019) {
            // The typographic apostrophe; recognisers write the plain one.
            parts[0] = '\'';
        } else {
            int boundClass = UTF8PROC_BOUNDCLASS_START;
            const auto options = static_cast<utf8proc_option_t>(UTF8PROC_CASEFOLD | UTF8PROC_DECOMPOSE);
            count = utf8proc_decompose_char(static_cast<utf8proc_int32_t>(codePoint), parts, std::ssize(parts), options,
                                            &boundClass);
        }
        for (utf8proc_ssize_t part = 0; part < count; ++part) {
            const auto character = static_cast<char32_t>(parts[part]);
            append(character, begin, combiningClassOf(character));
        }
    }
    sortMarks();
    return result;
}

bool isWordBoundary(const std::vector<FoldedCharacter>& text, std::size_t position) {
    if (position == 0 || position == text.size()) return true;
    const char32_t next = text[position].codePoint;
    const WordClass nextClass = classOf(next);
    if (nextClass == WordClass::extension) return false;
    const auto base = baseBefore(text, position);
    if (!base) return true;
    const char32_t previous = text[*base].codePoint;
    const WordClass previousClass = classOf(previous);

    if (isInsideWord(previousClass) && isInsideWord(nextClass)) return false;
    if (nextClass == WordClass::midWord && position + 1 < text.size()) {
        return !joins(next, previousClass, classOf(text[position + 1].codePoint));
    }
    if (previousClass == WordClass::midWord) {
        const auto beforeMiddle = baseBefore(text, *base);
        return !beforeMiddle || !joins(previous, classOf(text[*beforeMiddle].codePoint), nextClass);
    }
    return true;
}

std::string wordKey(std::string_view word) {
    std::string key;
    for (const FoldedCharacter& character : folded(word)) VostelMCPKit::appendUTF8(character.codePoint, key);
    return key;
}

std::string normalizedWord(std::string_view word) {
    std::string kept;
    std::size_t length = 0;
    bool isUsable = false;
    bool isSpaceDue = false;
    while (!word.empty()) {
        const auto [codePoint, isWhiteSpace] = take(word);
        if (isWhiteSpace) {
            isSpaceDue = !kept.empty();
            continue;
        }
        const auto category = categoryOf(codePoint);
        const bool isInvisible = category == UTF8PROC_CATEGORY_CC || category == UTF8PROC_CATEGORY_CF ||
                                 category == UTF8PROC_CATEGORY_CN || category == UTF8PROC_CATEGORY_CO;
        if (isInvisible && !VostelMCPKit::isJoiner(codePoint)) continue;
        if (isSpaceDue) {
            kept += ' ';
            ++length;
        }
        isSpaceDue = false;
        VostelMCPKit::appendUTF8(codePoint, kept);
        if (++length > longestWord) return {};
        isUsable = isUsable || (category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LO) ||
                   (category >= UTF8PROC_CATEGORY_ND && category <= UTF8PROC_CATEGORY_NO);
    }
    return isUsable ? composed(kept) : std::string{};
}

} // namespace vostel_companion
