#include "companion/transcript/WordForm.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace vostel_companion {

namespace {

using VostelMCPKit::Category;
using VostelMCPKit::combiningClass;

constexpr char32_t replacementCharacter = 0xFFFD;

/// The classes of characters that decide where words begin and end.
enum class WordClass { letter, digit, connector, extension, midWord, other };

struct Character {
    char32_t codePoint;
    bool isWhiteSpace;
};

/// Takes the first character off `text`, which is not empty.
Character take(std::string_view& text) {
    const auto codePoint = VostelMCPKit::takeCodePoint(text);
    return {codePoint.value_or(replacementCharacter), codePoint && VostelMCPKit::isWhiteSpace(*codePoint)};
}

bool isASCIILetter(char32_t codePoint) { return (codePoint | 0x20U) >= 'a' && (codePoint | 0x20U) <= 'z'; }

/// Scripts written without spaces between words.
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
    // A fast path for the most frequent characters.
    if (isASCIILetter(codePoint)) return WordClass::letter;
    if (codePoint == ' ') return WordClass::other;
    if (VostelMCPKit::extendsCharacter(codePoint)) return WordClass::extension;
    switch (VostelMCPKit::categoryOf(codePoint)) {
    case Category::letter:
        return isUnseparatedScript(codePoint) ? WordClass::other : WordClass::letter;
    case Category::number:
        return WordClass::digit;
    case Category::connector:
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

/// Whether the character joins its neighbours into one word: "don't" and "example.com" for letters, "3.14" and "1,000"
/// for digits.
bool joins(char32_t middle, WordClass before, WordClass after) {
    if (before != after) return false;
    if (before == WordClass::letter) return middle != ',' && middle != ';' && middle != 0x066C;
    if (before == WordClass::digit) {
        return middle == '\'' || middle == '.' || middle == ',' || middle == ';' || middle == 0x066C;
    }
    return false;
}

/// The index of the base character that ends before `position`, ignoring its marks.
std::optional<std::size_t> baseBefore(const std::vector<FoldedCharacter>& text, std::size_t position) {
    while (position > 0) {
        --position;
        if (classOf(text[position].codePoint) != WordClass::extension) return position;
    }
    return std::nullopt;
}

} // namespace

std::vector<FoldedCharacter> folded(std::string_view text) {
    std::vector<FoldedCharacter> result;
    result.reserve(text.size());
    // Where the marks of the current character begin. In canonically equivalent texts they may be in any order.
    std::size_t marks = 0;
    const auto sortMarks = [&] {
        if (result.size() - marks < 2) return;
        std::ranges::stable_sort(std::next(result.begin(), static_cast<std::ptrdiff_t>(marks)), result.end(), {},
                                 [&](const FoldedCharacter& mark) { return combiningClass(mark.codePoint); });
    };
    const auto append = [&](char32_t codePoint, std::uint32_t begin, bool isMark) {
        if (!isMark) {
            sortMarks();
            marks = result.size() + 1;
        }
        result.push_back({codePoint, begin});
    };
    for (std::string_view rest = text; !rest.empty();) {
        const auto begin = static_cast<std::uint32_t>(text.size() - rest.size());
        if (const char32_t first = static_cast<unsigned char>(rest.front()); isASCIILetter(first)) {
            append(first | 0x20U, begin, /*isMark=*/false);
            rest.remove_prefix(1);
            continue;
        }
        const auto [codePoint, isWhiteSpace] = take(rest);
        if (isWhiteSpace) {
            if (result.empty() || result.back().codePoint != ' ') append(' ', begin, /*isMark=*/false);
        } else if (codePoint == 0x2019) {
            // The typographic apostrophe; recognisers write the plain one.
            append('\'', begin, /*isMark=*/false);
        } else {
            for (const char32_t part : VostelMCPKit::foldedDecomposition(codePoint)) {
                append(part, begin, combiningClass(part) != 0);
            }
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
        const Category category = VostelMCPKit::categoryOf(codePoint);
        const bool isInvisible =
            category == Category::control || category == Category::format || category == Category::unassigned;
        if (isInvisible && !VostelMCPKit::isJoiner(codePoint)) continue;
        if (isSpaceDue) {
            kept += ' ';
            ++length;
        }
        isSpaceDue = false;
        VostelMCPKit::appendUTF8(codePoint, kept);
        if (++length > longestWord) return {};
        isUsable = isUsable || category == Category::letter || category == Category::number;
    }
    return isUsable ? VostelMCPKit::composed(kept) : std::string{};
}

} // namespace vostel_companion
