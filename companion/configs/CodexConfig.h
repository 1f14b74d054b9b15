// Our entry in the text of Codex's configuration file: the table `mcp_servers.vostel`.
//
// An empty text, as of a missing file, is a configuration without entries. Pure and thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion::CodexConfig {

/// The command of the entry under our name; absent without one, and empty for one that starts no program.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// `text` with `entry` in it, behind everything else. Of an older entry of ours only the command changes, where it
/// stands; anybody else's is replaced whole, so ask first. The command holds no control characters.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

/// `text` without the entry under our name, whoever's it is. What withEntry added to a text goes without a trace.
[[nodiscard]] std::expected<std::string, ConfigError> withoutEntry(std::string_view text);

} // namespace vostel_companion::CodexConfig
