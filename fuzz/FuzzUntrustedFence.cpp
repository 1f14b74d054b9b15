#include "fuzz/fuzz.h"
#include "kit/tools/MCPUntrustedFence.h"

#include <algorithm>

using namespace VostelMCPKit;
using namespace MCPUntrustedFence;

namespace {

/// A slow reference implementation: one marker after the other, each from left to right.
std::string escapedPlainly(std::string text) {
    for (const std::string_view marker : {beginMarker, endMarker}) {
        std::string replacement;
        for (const char character : marker) replacement.append({'\\', character});
        for (auto at = text.find(marker); at != text.npos; at = text.find(marker, at + replacement.size())) {
            text.replace(at, marker.size(), replacement);
        }
    }
    return text;
}

} // namespace

void check(std::string_view text) {
    const std::string escaped = escapedPlainly(std::string{text});
    require(fence(text) == std::string{opening()} + escaped + '\n' + std::string{endMarker},
            "the fence equals the reference");
    for (std::string_view rest = escaped; !rest.empty();) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        require(line != endMarker && line != beginMarker, "no line of the data closes the fence");
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    }
}
