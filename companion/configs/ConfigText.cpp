#include "companion/configs/ConfigText.h"

#include "kit/jsonrpc/JSONWriter.h"

#include <algorithm>
#include <tuple>

namespace vostel_companion {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace

ConfigPosition positionOf(std::string_view text, std::size_t offset) {
    const std::size_t start = contentStart(text);
    const std::string_view before = text.substr(start, std::max(offset, start) - start);
    const std::size_t lineStart = before.rfind('\n') + 1;
    const auto startsCodePoint = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; };
    return {1 + static_cast<std::size_t>(std::ranges::count(before, '\n')),
            1 + static_cast<std::size_t>(std::ranges::count_if(before.substr(lineStart), startsCodePoint))};
}

std::size_t contentStart(std::string_view text) { return text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0; }

std::string_view lineBreakOf(std::string_view text) {
    const std::size_t last = text.rfind('\n');
    return last != std::string_view::npos && last > 0 && text[last - 1] == '\r' ? "\r\n" : "\n";
}

std::string replaced(std::string_view text, ConfigRange range, std::string_view with) {
    std::string out;
    out.reserve(text.size() + with.size());
    out += text.substr(0, range.begin);
    out += with;
    out += text.substr(range.end);
    return out;
}

std::string quotedText(std::string_view text) {
    VostelMCPKit::Bytes out;
    // Only a number can be impossible to write.
    std::ignore = VostelMCPKit::writeJSON(text, out);
    return std::string{out.text()};
}

} // namespace vostel_companion
