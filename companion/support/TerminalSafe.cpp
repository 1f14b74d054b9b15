#include "companion/support/TerminalSafe.h"

#include "kit/support/Unicode.h"

#include <algorithm>

namespace vostel_companion {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool showsAsItself(char32_t codePoint) {
    using VostelMCPKit::Category;
    const Category category = VostelMCPKit::categoryOf(codePoint);
    if (category == Category::format) return VostelMCPKit::isJoiner(codePoint);
    return category != Category::control && category != Category::lineSeparator;
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
