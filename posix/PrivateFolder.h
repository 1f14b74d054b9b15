// Folders that belong to the current user.
#pragma once

#include "posix/SystemError.h"

#include <expected>
#include <filesystem>

namespace posix {

/// Creates a missing folder and its missing parents. Only the owner can enter a folder that it creates. An existing
/// folder is left as it is.
[[nodiscard]] std::expected<void, SystemError> ensureFolder(const std::filesystem::path& folder);

/// The same, and makes sure that nobody else can enter the folder. False when others could have put files into it: it
/// belongs to another user, others may write to it, or it is a link or not a folder.
[[nodiscard]] std::expected<bool, SystemError> ensurePrivateFolder(const std::filesystem::path& folder);

} // namespace posix
