#include "companion/support/Printable.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <utf8proc.h>

namespace vostel_companion {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isJoiner(utf8proc_int32_t codePoint) { return codePoint == 0x200C || codePoint == 0x200D; }

bool showsAsItself(utf8proc_int32_t codePoint) {
    if (codePoint == '\n' || codePoint == '\t') return true;
    switch (utf8proc_category(codePoint)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    case UTF8PROC_CATEGORY_CF:
        return isJoiner(codePoint);
    default:
        return true;
    }
}

} // namespace

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    for (std::size_t offset = 0; offset < text.size();) {
        utf8proc_int32_t codePoint = -1;
        const utf8proc_ssize_t length =
            utf8proc_iterate(bytes + offset, static_cast<utf8proc_ssize_t>(text.size() - offset), &codePoint);
        const bool isPlain = length > 0 && showsAsItself(codePoint);
        VostelMCPKit::appendUTF8(isPlain ? static_cast<char32_t>(codePoint) : replacement, out);
        offset += length > 0 ? static_cast<std::size_t>(length) : 1;
    }
    return out;
}

std::string printableLine(std::string_view text) {
    std::string out = printable(text);
    std::ranges::replace_if(out, [](char character) { return character == '\n' || character == '\t'; }, ' ');
    return out;
}

} // namespace vostel_companion
