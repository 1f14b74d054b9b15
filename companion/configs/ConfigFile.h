// Changing a file that belongs to another program, and that other programs may change at any moment.
//
// Whoever looks finds the old file or the new one, whole. The file keeps its mode and its owner; where the path is a
// symbolic link, the file it leads to is changed and the link stays. Ours take turns by a lock on the folder; other
// programs know no lock, so the file is read once more right before it is replaced, and edited anew when it differs.
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

/// The text to write for the text found. Called for each text that was found, once or more; the last call counts.
using ConfigEdit = std::function<std::expected<std::string, ConfigError>(std::string_view text)>;

struct ConfigFileChange {
    bool isChanged = false;
    /// Where the file as it was before stands; absent when there was none.
    std::optional<std::filesystem::path> backup;

    bool operator==(const ConfigFileChange&) const = default;
};

/// Edits the file at `path`, an absolute path. When the edit changes nothing, nothing is written, created or locked. A
/// missing file is created for its owner alone, with its missing folders. What the file was is kept beside it under its
/// name with ".vostel-backup" (then ".vostel-backup-2" and so on) unless such a backup has the same content already;
/// no backup is ever overwritten.
[[nodiscard]] std::expected<ConfigFileChange, ConfigError> editConfigFile(const std::filesystem::path& path,
                                                                          const ConfigEdit& edit);

} // namespace vostel_companion
