// The AI clients that the application can connect, and where each keeps its configuration. All functions are
// thread-safe and touch no file.
#pragma once

#include "kit/jsonrpc/Codec.h"

#include <array>
#include <expected>
#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// A client that the application knows how to configure.
enum class MCPClientKind {
    /// Claude Code. One JSON file configures all its servers.
    claudeCode,
    /// Claude Desktop. Each server is an extension with a manifest of its own.
    claudeDesktop,
    /// Codex. One TOML file configures all its servers.
    codex
};

/// In the order of the enumeration.
inline constexpr std::array allMCPClientKinds = {MCPClientKind::claudeCode, MCPClientKind::claudeDesktop,
                                                 MCPClientKind::codex};

// The texts that are returned as std::string_view are constants: they never dangle.

/// The kind's name for programs: "claudeCode".
[[nodiscard]] std::string_view rawValue(MCPClientKind kind);
/// The kind with this name for programs; absent when there is none. For an application that stores a kind by its name.
[[nodiscard]] std::optional<MCPClientKind> clientKind(std::string_view rawValue);

/// The kind's name for users: "Claude Code".
[[nodiscard]] std::string_view displayName(MCPClientKind kind);

/// The client's configuration file; for Claude Desktop the folder of its extensions. `homeFolder` is absolute and has
/// no slash at its end.
[[nodiscard]] std::string configPath(MCPClientKind kind, std::string_view homeFolder);

/// What to tell a user whose entry only the client itself can remove; absent when the application can remove it.
[[nodiscard]] std::optional<std::string_view> manualRemovalNote(MCPClientKind kind);

/// The kind's name for programs, for records that contain a kind. Deliberate: only written, never read.
template <>
struct Codec<MCPClientKind> {
    static MCPValue encode(MCPClientKind kind) { return rawValue(kind); }
};

} // namespace VostelMCPKit
