#include "kit/stdio/MCPLineBuffer.h"

#include "kit/support/Unicode.h"

#include <utility>

namespace VostelMCPKit {

std::vector<std::string> MCPLineBuffer::append(std::string_view data) {
    std::vector<std::string> lines;
    // Searches the new bytes only: a long line arrives in many pieces, and the pending bytes hold no line feed.
    for (auto end = data.find('\n'); end != data.npos; end = data.find('\n')) {
        pending_.append(data.substr(0, end));
        data.remove_prefix(end + 1);
        std::string line = std::exchange(pending_, {});
        if (isValidUTF8(line)) lines.push_back(std::move(line));
    }
    pending_.append(data);
    return lines;
}

} // namespace VostelMCPKit
