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

/// The command of the entry under our name; absent without one, and empty for one that starts no program.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// `text` with `entry` in it. Of an older entry of ours only the command changes; anybody else's is replaced whole, so
/// ask first.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

/// `text` without the entry under our name, whoever's it is.
[[nodiscard]] std::expected<std::string, ConfigError> withoutEntry(std::string_view text);

} // namespace vostel_companion::ClaudeCodeConfig
