// Changing a file that belongs to another program, and that other programs may change at any moment.
//
// Every reader finds the complete old file or the complete new one. The file keeps its mode and owner. If the path is a
// symbolic link, its target is changed and the link stays. Our own processes exclude each other by a lock on the
// folder. Other programs do not use the lock, so the file is read again just before it is replaced, and edited again if
// it differs.
#pragma once

#include "companion/configs/ConfigError.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The text of the file at `path`, empty when there is no file.
[[nodiscard]] std::expected<std::string, ConfigError> readConfigFile(const std::filesystem::path& path);

/// Returns the new text for the text of the file. May be called several times; the last call counts.
using ConfigEdit = std::function<std::expected<std::string, ConfigError>(std::string_view text)>;

struct ConfigFileChange {
    bool isChanged = false;
    /// A copy of the file from before the change. Absent if there was no file.
    std::optional<std::filesystem::path> backup;

    bool operator==(const ConfigFileChange&) const = default;
};

/// Edits the file at `path`, an absolute path. If the edit changes nothing, nothing is written, created or locked. A
/// missing file is created for its owner alone, with its missing folders. The old file is kept beside the new one, with
/// ".vostel-backup" (then ".vostel-backup-2" and so on) appended to its name, unless a backup has the same content
/// already. No backup is ever overwritten.
[[nodiscard]] std::expected<ConfigFileChange, ConfigError> editConfigFile(const std::filesystem::path& path,
                                                                          const ConfigEdit& edit);

} // namespace vostel_companion
