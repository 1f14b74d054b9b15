// The manifest that makes Vostel an extension of Claude Desktop.
//
// The manifest is in a folder of its own inside the folder of the client's extensions. It has the content of
// MCPClientConfigLogic::claudeDesktopManifest, and also the members that the official tool mcpb requires. It leaves out
// "type" in "mcp_config", because that tool refuses it. An empty text, as of a missing file, means that there is no
// manifest. Only the client can remove an extension: see manualRemovalNote. Pure and thread-safe.
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

/// The manifest for `entry`. It keeps the arguments and the environment of an older manifest of ours. If `text` has the
/// same content already, it is returned unchanged. A foreign manifest is replaced completely, so ask the user first.
[[nodiscard]] std::expected<std::string, ConfigError>
withEntry(std::string_view text, const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry& entry);

} // namespace vostel_companion::ClaudeDesktopConfig
