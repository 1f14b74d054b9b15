#include "kit/support/Unicode.h"

#include "kit/support/ASCII.h"
#include "kit/support/UTF8.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utf8proc.h>

namespace VostelMCPKit {

namespace {

struct Decoded {
    utf8proc_int32_t codePoint;
    std::size_t length;
};

/// The first code point of `text` and its length in bytes. A byte that begins no valid sequence gives -1 and 1.
Decoded firstCodePoint(std::string_view text) {
    utf8proc_int32_t codePoint = -1;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
    if (length <= 0) return {-1, 1};
    return {codePoint, static_cast<std::size_t>(length)};
}

} // namespace

bool isWhiteSpace(char32_t codePoint) {
    if ((codePoint >= '\t' && codePoint <= '\r') || codePoint == 0x85) return true;
    const auto category = utf8proc_category(static_cast<utf8proc_int32_t>(codePoint));
    return category == UTF8PROC_CATEGORY_ZS || category == UTF8PROC_CATEGORY_ZL || category == UTF8PROC_CATEGORY_ZP;
}

std::size_t validUTF8Prefix(std::string_view bytes) {
    const char* at = bytes.data();
    const char* const end = at + bytes.size();
    while (at != end) {
        std::size_t length = 0;
        if (fitsBlock(at, end)) {
            const ByteBlock block{at};
            length = block.notASCII() == 0 ? ByteBlock::size : wholeSequences(block, upToFirst(0));
        }
        if (length == 0) length = sequenceLength(at, end);
        if (length == 0) break;
        at += length;
    }
    return static_cast<std::size_t>(at - bytes.data());
}

bool isValidUTF8(std::string_view bytes) { return validUTF8Prefix(bytes) == bytes.size(); }

std::optional<char32_t> takeCodePoint(std::string_view& text) {
    const auto [codePoint, length] = firstCodePoint(text);
    text.remove_prefix(length);
    if (codePoint < 0) return std::nullopt;
    return static_cast<char32_t>(codePoint);
}

std::string repairedUTF8(std::string_view bytes) {
    std::string repaired;
    while (true) {
        const std::size_t valid = validUTF8Prefix(bytes);
        repaired += bytes.substr(0, valid);
        if (valid == bytes.size()) return repaired;
        repaired += "\uFFFD";
        bytes.remove_prefix(valid + 1);
    }
}

void appendUTF8(char32_t codePoint, std::string& out) {
    utf8proc_uint8_t bytes[4];
    const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(codePoint), bytes);
    out.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty()) {
        const auto [codePoint, length] = firstCodePoint(text);
        if (codePoint < 0 || !isWhiteSpace(static_cast<char32_t>(codePoint))) break;
        text.remove_prefix(length);
    }
    while (!text.empty()) {
        std::size_t start = text.size() - 1;
        while (start > 0 && text.size() - start < 4 && (static_cast<unsigned char>(text[start]) & 0xC0U) == 0x80) {
            --start;
        }
        const auto [codePoint, length] = firstCodePoint(text.substr(start));
        if (codePoint < 0 || !isWhiteSpace(static_cast<char32_t>(codePoint))) break;
        text.remove_suffix(text.size() - start);
    }
    return text;
}

char32_t titleCase(char32_t codePoint) {
    return static_cast<char32_t>(utf8proc_totitle(static_cast<utf8proc_int32_t>(codePoint)));
}

char32_t takeFolded(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        text.remove_prefix(1);
        return static_cast<unsigned char>(asciiLowerCase(static_cast<char>(first)));
    }
    const auto [codePoint, length] = firstCodePoint(text);
    text.remove_prefix(length);
    if (codePoint < 0) return first;

    // utf8proc offers the full folding only. Where that is one code point, it is also the simple folding. A few
    // characters fold to several code points (U+1E9E to "ss"). Their simple folding is the lower-case mapping, except
    // for U+0130, which has no simple folding.
    utf8proc_int32_t folded[4];
    int boundClass = UTF8PROC_BOUNDCLASS_START;
    const auto count = utf8proc_decompose_char(codePoint, folded, 4, UTF8PROC_CASEFOLD, &boundClass);
    if (count == 1) return static_cast<char32_t>(folded[0]);
    return static_cast<char32_t>(codePoint == 0x130 ? codePoint : utf8proc_tolower(codePoint));
}

Category categoryOf(char32_t codePoint) {
    switch (utf8proc_category(static_cast<utf8proc_int32_t>(codePoint))) {
    case UTF8PROC_CATEGORY_LU:
    case UTF8PROC_CATEGORY_LL:
    case UTF8PROC_CATEGORY_LT:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_LO:
        return Category::letter;
    case UTF8PROC_CATEGORY_ND:
    case UTF8PROC_CATEGORY_NL:
    case UTF8PROC_CATEGORY_NO:
        return Category::number;
    case UTF8PROC_CATEGORY_PC:
        return Category::connector;
    case UTF8PROC_CATEGORY_CC:
        return Category::control;
    case UTF8PROC_CATEGORY_CF:
        return Category::format;
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return Category::lineSeparator;
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CO:
        return Category::unassigned;
    default:
        return Category::other;
    }
}

bool extendsCharacter(char32_t codePoint) {
    switch (utf8proc_get_property(static_cast<utf8proc_int32_t>(codePoint))->boundclass) {
    case UTF8PROC_BOUNDCLASS_EXTEND:
    case UTF8PROC_BOUNDCLASS_SPACINGMARK:
    case UTF8PROC_BOUNDCLASS_ZWJ:
        return true;
    default:
        return false;
    }
}

int combiningClass(char32_t codePoint) {
    return utf8proc_get_property(static_cast<utf8proc_int32_t>(codePoint))->combining_class;
}

std::u32string foldedDecomposition(char32_t codePoint) {
    utf8proc_int32_t parts[32];
    int boundClass = UTF8PROC_BOUNDCLASS_START;
    const auto options = static_cast<utf8proc_option_t>(UTF8PROC_CASEFOLD | UTF8PROC_DECOMPOSE);
    const auto count = utf8proc_decompose_char(static_cast<utf8proc_int32_t>(codePoint), parts, std::ssize(parts),
                                               options, &boundClass);
    std::u32string result;
    for (utf8proc_ssize_t part = 0; part < count; ++part) result += static_cast<char32_t>(parts[part]);
    return result;
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

} // namespace VostelMCPKit
