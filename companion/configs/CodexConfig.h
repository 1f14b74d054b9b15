// Our entry in the text of Codex's configuration file: the table `mcp_servers.vostel`.
//
// An empty text, as of a missing file, is a configuration without entries. Pure and thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion::CodexConfig {

/// The command of the entry under our name. Absent without an entry, and empty if the entry has no command.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// How long Codex waits for a call, in seconds, if the entry says so in a line of its own.
[[nodiscard]] std::optional<std::int64_t> toolTimeout(std::string_view text);

/// `text` with `entry` appended, and a timeout that is long enough for transcriptions. In an older entry of ours only
/// the command changes, in place. A foreign entry is replaced completely, so ask the user first. The command contains
/// no control characters.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

/// `text` without the entry under our name, even if it is a foreign one. This undoes withEntry completely, so it does
/// not need the text from before.
[[nodiscard]] std::expected<std::string, ConfigError> withoutEntry(std::string_view text,
                                                                   std::string_view original = {});

} // namespace vostel_companion::CodexConfig
