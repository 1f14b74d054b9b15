// Folders of the user's own.
#pragma once

#include "posix/SystemError.h"

#include <expected>
#include <filesystem>

namespace posix {

/// Creates a missing folder, for its owner alone, and its missing parents. An existing folder is left as it is.
[[nodiscard]] std::expected<void, SystemError> ensureFolder(const std::filesystem::path& folder);

/// The same, and makes sure that nobody else can enter the folder. False when it cannot be trusted, because others
/// could have prepared what is in it: it belongs to another user, others may write to it, or it is a link or no folder.
[[nodiscard]] std::expected<bool, SystemError> ensurePrivateFolder(const std::filesystem::path& folder);

} // namespace posix
