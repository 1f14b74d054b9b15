// The current user's folders, and the path of the running program.
#pragma once

#include <filesystem>
#include <optional>

namespace posix {

/// The home folder of the current user: `HOME` if it is an absolute path, otherwise the entry in the password database.
[[nodiscard]] std::filesystem::path homeDirectory();

/// The current user's Application Support folder.
[[nodiscard]] std::filesystem::path applicationSupportDirectory();

/// The running executable; absent when the system cannot tell.
[[nodiscard]] std::optional<std::filesystem::path> ownExecutable();

} // namespace posix
