// The text of the manifest of the extension that Vostel is for Claude Desktop.
//
// The manifest is in a folder of its own inside the folder of the client's extensions. It is what
// MCPClientConfigLogic::claudeDesktopManifest says, with the members that the official tool mcpb also requires. It
// leaves out "type" in "mcp_config", which that tool refuses. An empty text, as of a missing file, is no manifest. Only
// the client can remove an extension: see manualRemovalNote. Pure and thread-safe.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion::ClaudeDesktopConfig {

/// The manifest's path inside the folder of extensions.
inline constexpr std::string_view manifestPath = "vostel/manifest.json";

/// The command of the manifest. Absent without a manifest, and empty if the manifest has no command.
[[nodiscard]] std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text);

/// The manifest for `entry`. It keeps the arguments and the environment of an older manifest of ours. `text` is
/// returned as it is if it says the same already. A foreign manifest is replaced completely, so ask first.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

} // namespace vostel_companion::ClaudeDesktopConfig
