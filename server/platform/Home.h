// Where the user's home folder is.
#pragma once

#include <filesystem>

namespace vostel_mcp {

/// HOME when it is set and absolute, else the folder that the password database names.
[[nodiscard]] std::filesystem::path homeDirectory();

} // namespace vostel_mcp
