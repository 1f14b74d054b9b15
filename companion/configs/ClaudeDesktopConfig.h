// The text of the manifest of the extension that Vostel is for Claude Desktop.
//
// The manifest stands in a folder of its own below the folder of the client's extensions. An empty text, as of a
// missing file, is no manifest. There is no way to remove an extension from here: see manualRemovalNote. Pure and
// thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion::ClaudeDesktopConfig {

/// The manifest's path below the folder of extensions.
inline constexpr std::string_view manifestPath = "vostel/manifest.json";

/// The command that the manifest starts; absent without a manifest, and empty for one that starts no program.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// `text` with `entry`'s command in it. Of an older manifest of ours only the command changes; anybody else's is
/// replaced whole, so ask first.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

} // namespace vostel_companion::ClaudeDesktopConfig
