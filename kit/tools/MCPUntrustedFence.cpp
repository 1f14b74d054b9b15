#include "kit/tools/MCPUntrustedFence.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>

namespace VostelMCPKit::MCPUntrustedFence {

namespace {

constexpr auto openingText = [] {
    std::array<char, preamble.size() + beginMarker.size() + 2> bytes{};
    auto out = std::ranges::copy(preamble, bytes.begin()).out;
    *out++ = '\n';
    out = std::ranges::copy(beginMarker, out).out;
    *out = '\n';
    return bytes;
}();
static_assert(openingText.size() == 357);

// Both markers end in this text. It cannot overlap itself, so one search finds every marker of both kinds.
constexpr std::string_view commonTail = "UNTRUSTED TOOL OUTPUT-----";
static_assert(beginMarker.ends_with(commonTail) && endMarker.ends_with(commonTail));
constexpr std::size_t dashes = 5;

void appendEscaped(std::string& out, std::string_view marker) {
    for (char character : marker) {
        out += '\\';
        out += character;
    }
}

/// Appends `text` with its markers escaped. The result is that of two passes: the first escapes every begin marker, the
/// second every end marker in the result of the first. Each pass goes from left to right without overlap. Two markers
/// can share dashes, and then this order decides. This function gives the same result in a single pass.
void appendEscapingMarkers(std::string& out, std::string_view text) {
    const std::boyer_moore_horspool_searcher search{commonTail.begin(), commonTail.end()};
    std::size_t copied = 0;
    std::size_t endOfLastBegin = 0;

    for (std::size_t after = 0;;) {
        const auto next = text.begin() + static_cast<std::ptrdiff_t>(after);
        const auto found = std::search(next, text.end(), search);
        if (found == text.end()) break;
        after = static_cast<std::size_t>(found - text.begin()) + commonTail.size();
        const std::string_view seen = text.substr(0, after);

        if (seen.ends_with(beginMarker) && after - beginMarker.size() >= endOfLastBegin) {
            out.append(text, copied, after - beginMarker.size() - copied);
            appendEscaped(out, beginMarker);
            copied = endOfLastBegin = after;
        } else if (seen.ends_with(endMarker)) {
            // A begin marker that starts in this one's closing dashes was escaped first and took them away.
            if (text.substr(after - dashes, dashes + beginMarker.size() - 1).contains(beginMarker)) continue;
            const std::size_t start = after - endMarker.size();
            if (start >= copied) {
                out.append(text, copied, start - copied);
            } else if (start + 1 == endOfLastBegin) {
                // The last dash of an escaped begin marker is a plain dash again, so an end marker can start with it.
                out.pop_back();
            } else {
                continue;
            }
            appendEscaped(out, endMarker);
            copied = after;
        }
    }
    out.append(text, copied);
}

} // namespace

std::string_view opening() { return {openingText.data(), openingText.size()}; }

std::string fence(std::string_view text) {
    std::string out;
    out.reserve(openingText.size() + text.size() + 1 + endMarker.size());
    out += opening();
    appendEscapingMarkers(out, text);
    out += '\n';
    out += endMarker;
    return out;
}

} // namespace VostelMCPKit::MCPUntrustedFence
