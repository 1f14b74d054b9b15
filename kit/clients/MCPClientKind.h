// The AI clients that the application can connect, and where each keeps its configuration.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <array>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

enum class MCPClientKind { claudeCode, claudeDesktop, codex };

inline constexpr std::array allMCPClientKinds = {MCPClientKind::claudeCode, MCPClientKind::claudeDesktop,
                                                 MCPClientKind::codex};

/// The kind's name for programs.
[[nodiscard]] std::string_view rawValue(MCPClientKind kind);
[[nodiscard]] std::optional<MCPClientKind> clientKind(std::string_view rawValue);

/// The kind's name for people.
[[nodiscard]] std::string_view displayName(MCPClientKind kind);

/// The client's configuration file; for Claude Desktop the folder of its extensions. `homeFolder` is absolute and has
/// no trailing slash.
[[nodiscard]] std::string configPath(MCPClientKind kind, std::string_view homeFolder);

/// What to tell a user whose entry only the client itself can remove; absent when the application can.
[[nodiscard]] std::optional<std::string_view> manualRemovalNote(MCPClientKind kind);

template <>
struct Codec<MCPClientKind> {
    static MCPValue encode(MCPClientKind kind) { return rawValue(kind); }
};

} // namespace VostelMCPKit
