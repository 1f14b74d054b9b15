// Finds a program in the folders of PATH by its name.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

namespace vostel_companion {

/// The first executable file called `name` in the folders of `searchPath`, which has the form of the variable PATH.
/// Relative folders are left out, because their meaning depends on our working folder.
[[nodiscard]] std::optional<std::filesystem::path> findProgram(std::string_view name, std::string_view searchPath);

} // namespace vostel_companion
