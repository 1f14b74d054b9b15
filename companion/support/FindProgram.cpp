#include "companion/support/FindProgram.h"

#include <algorithm>
#include <system_error>
#include <unistd.h>

namespace vostel_companion {

namespace fs = std::filesystem;

std::optional<fs::path> findProgram(std::string_view name, std::string_view searchPath) {
    while (!searchPath.empty()) {
        const std::string_view folder = searchPath.substr(0, searchPath.find(':'));
        searchPath.remove_prefix(std::min(folder.size() + 1, searchPath.size()));
        if (!folder.starts_with('/')) continue;
        const fs::path candidate = fs::path{folder} / name;
        std::error_code ignored;
        if (fs::is_regular_file(candidate, ignored) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    return std::nullopt;
}

} // namespace vostel_companion
