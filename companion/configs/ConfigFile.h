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

/// The result of an edit.
struct EditedConfig {
    /// Absent: the file is deleted.
    std::optional<std::string> text;
    /// Keeps the old file as the backup. Otherwise an earlier backup stays.
    bool keepsBackup = true;
};

/// Edits the text of the file, which is empty when there is no file. May be called several times; the last call counts.
using ConfigEdit = std::function<std::expected<EditedConfig, ConfigError>(std::string_view text)>;

struct ConfigFileChange {
    bool isChanged = false;
    /// A copy of the file from before the change. Absent if there was no file, and if none was to be kept.
    std::optional<std::filesystem::path> backup;

    bool operator==(const ConfigFileChange&) const = default;
};

/// Edits the file at `path`, an absolute path. If the edit changes nothing, nothing is written, created or locked. A
/// missing file is created for its owner alone, with its missing folders. The backup is beside the file, with
/// ".vostel-backup" appended to its name, and replaces earlier backups. If that name is taken by something other than
/// a file, the name ends in ".vostel-backup-2" and so on.
[[nodiscard]] std::expected<ConfigFileChange, ConfigError> editConfigFile(const std::filesystem::path& path,
                                                                          const ConfigEdit& edit);

/// The text of the backup of the file at `path`. Absent without a backup that can be read.
[[nodiscard]] std::optional<std::string> readConfigBackup(const std::filesystem::path& path);

/// Deletes all backups of the file at `path`. Returns whether there were any.
[[nodiscard]] std::expected<bool, ConfigError> deleteConfigBackups(const std::filesystem::path& path);

} // namespace vostel_companion
