// Our entry in the text of Claude Code's configuration file: the member `vostel` of the member `mcpServers`.
//
// An empty text, as of a missing file, is a configuration without entries. Pure and thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion::ClaudeCodeConfig {

/// The command of the entry under our name. Absent without an entry, and empty if the entry has no command.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// `text` with `entry` added. In an older entry of ours only the command changes. A foreign entry is replaced
/// completely, so ask the user first.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

/// `text` without the entry under our name, even if it is a foreign one, and without `mcpServers` if it is empty then.
/// `original` is the text from before withEntry, or empty if that is not known. If it has an `mcpServers`, that member
/// stays.
[[nodiscard]] std::expected<std::string, ConfigError> withoutEntry(std::string_view text,
                                                                   std::string_view original = {});

} // namespace vostel_companion::ClaudeCodeConfig
