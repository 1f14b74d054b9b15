#include "fuzz/fuzz.h"
#include "kit/stdio/MCPLineBuffer.h"
#include "kit/support/Unicode.h"

using namespace VostelMCPKit;

/// The first byte decides how large the pieces are in which the rest arrives.
void check(std::string_view text) {
    if (text.empty()) return;
    const std::size_t step = 1 + static_cast<unsigned char>(text.front()) % 17;
    text.remove_prefix(1);

    std::vector<std::string> expected;
    for (std::string_view rest = text; rest.contains('\n');) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        if (isValidUTF8(line)) expected.emplace_back(line);
        rest.remove_prefix(line.size() + 1);
    }

    MCPLineBuffer buffer;
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size(); begin += step) {
        for (std::string& line : buffer.append(text.substr(begin, step))) lines.push_back(std::move(line));
    }
    require(lines == expected, "lines do not depend on how they arrive");
}
