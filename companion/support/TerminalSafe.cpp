#include "companion/support/TerminalSafe.h"

#include "kit/support/Unicode.h"

#include <algorithm>
#include <utf8proc.h>

namespace vostel_companion {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isJoiner(utf8proc_int32_t codePoint) { return codePoint == 0x200C || codePoint == 0x200D; }

bool showsAsItself(utf8proc_int32_t codePoint) {
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

char32_t takePrintable(std::string_view& text) {
    utf8proc_int32_t codePoint = -1;
    const utf8proc_ssize_t length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                                     static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
    text.remove_prefix(length > 0 ? static_cast<std::size_t>(length) : 1);
    return length > 0 && showsAsItself(codePoint) ? static_cast<char32_t>(codePoint) : replacement;
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
