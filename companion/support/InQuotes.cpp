#include "companion/support/InQuotes.h"

#include "kit/support/Unicode.h"

#include <utf8proc.h>

namespace vostel_companion {

namespace {

constexpr std::size_t longest = 300;
constexpr char32_t replacement = 0xFFFD;

bool showsAsItself(utf8proc_int32_t codePoint) {
    switch (utf8proc_category(codePoint)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    default:
        return true;
    }
}

} // namespace

std::string inQuotes(std::string_view text) {
    std::string out = "'";
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    for (std::size_t offset = 0; offset < text.size();) {
        utf8proc_int32_t codePoint = -1;
        const utf8proc_ssize_t length =
            utf8proc_iterate(bytes + offset, static_cast<utf8proc_ssize_t>(text.size() - offset), &codePoint);
        const std::size_t step = length > 0 ? static_cast<std::size_t>(length) : 1;
        if (out.size() + step > longest) {
            out += "…";
            break;
        }
        const bool plain = length > 0 && showsAsItself(codePoint);
        VostelMCPKit::appendUTF8(plain ? static_cast<char32_t>(codePoint) : replacement, out);
        offset += step;
    }
    return out + "'";
}

} // namespace vostel_companion
