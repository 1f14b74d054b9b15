#include "companion/support/InQuotes.h"

#include "companion/support/TerminalSafe.h"
#include "kit/support/Unicode.h"

namespace vostel_companion {

namespace {

constexpr std::size_t longest = 300;

} // namespace

std::string inQuotes(std::string_view text) {
    std::string out = "'";
    while (!text.empty()) {
        const std::size_t before = text.size();
        const char32_t codePoint = takePrintable(text);
        if (out.size() + before - text.size() > longest) {
            out += "…";
            break;
        }
        VostelMCPKit::appendUTF8(codePoint, out);
    }
    return out + "'";
}

std::string inDoubleQuotes(std::string_view text) {
    std::string out = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') out += '\\';
        out += character;
    }
    return out + "\"";
}

} // namespace vostel_companion
