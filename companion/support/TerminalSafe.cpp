#include "companion/support/TerminalSafe.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <utf8proc.h>

namespace vostel_companion {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool showsAsItself(char32_t codePoint) {
    switch (utf8proc_category(static_cast<utf8proc_int32_t>(codePoint))) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return false;
    case UTF8PROC_CATEGORY_CF:
        return VostelMCPKit::isJoiner(codePoint);
    default:
        return true;
    }
}

} // namespace

char32_t takePrintable(std::string_view& text) {
    const auto codePoint = VostelMCPKit::takeCodePoint(text);
    return codePoint && showsAsItself(*codePoint) ? *codePoint : replacement;
}

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        if (text.front() == '\n' || text.front() == '\t') {
            out += text.front();
            text.remove_prefix(1);
        } else {
            VostelMCPKit::appendUTF8(takePrintable(text), out);
        }
    }
    return out;
}

std::string printableLine(std::string_view text) {
    std::string out = printable(text);
    std::ranges::replace_if(out, [](char character) { return character == '\n' || character == '\t'; }, ' ');
    return out;
}

} // namespace vostel_companion
