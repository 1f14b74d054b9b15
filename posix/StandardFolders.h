// The current user's folders, and the path of the running program.
#pragma once

#include <filesystem>
#include <optional>

namespace posix {

/// The home folder of the current user: `HOME` when it is an absolute path, else what the password database says.
[[nodiscard]] std::filesystem::path homeDirectory();

/// The current user's Application Support folder.
[[nodiscard]] std::filesystem::path applicationSupportDirectory();

/// The running executable; absent when the system cannot tell.
[[nodiscard]] std::optional<std::filesystem::path> ownExecutable();

} // namespace posix
