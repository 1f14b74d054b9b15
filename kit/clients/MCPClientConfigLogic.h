// The server's entry in each AI client's configuration: how it is written, read back, and compared.
//
// Reading and writing the files is the installer's; here are the rules.
#pragma once

#include "kit/clients/MCPClientKind.h"
#include "kit/jsonrpc/MCPValue.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace VostelMCPKit::MCPClientConfigLogic {

/// The server's name in each client's configuration.
inline constexpr std::string_view entryName = "vostel";
/// The executable's file name, by which entries are recognised.
inline constexpr std::string_view helperBinaryName = "vostel-mcp";
inline constexpr std::string_view mcpbManifestVersion = "0.3";

struct MCPClientEntry {
    /// Absolute path of the executable, UTF-8.
    std::string command;
    std::vector<std::string> args;

    bool operator==(const MCPClientEntry&) const = default;
};

struct InstallationStatus {
    /// The entry points at another copy of the executable.
    struct StalePath {
        std::string previousCommand;
        bool operator==(const StalePath&) const = default;
    };
    /// The entry under the server's name runs some other program.
    struct ForeignEntry {
        std::string existingCommand;
        bool operator==(const ForeignEntry&) const = default;
    };
    struct NotInstalled {
        bool operator==(const NotInstalled&) const = default;
    };
    struct UpToDate {
        bool operator==(const UpToDate&) const = default;
    };

    std::variant<StalePath, ForeignEntry, NotInstalled, UpToDate> is;

    bool operator==(const InstallationStatus&) const = default;
};

/// What a Codex table says about its server.
struct CodexTable {
    std::optional<std::string> command;
    std::vector<std::string> args;

    bool operator==(const CodexTable&) const = default;
};

/// Absent for a relative path.
[[nodiscard]] std::optional<MCPClientEntry> makeEntry(std::string_view helperPath, std::vector<std::string> args);

[[nodiscard]] InstallationStatus compareInstallation(std::optional<std::string_view> existingCommand,
                                                     const MCPClientEntry& ourEntry);

[[nodiscard]] MCPValue claudeCodeEntry(const MCPClientEntry& entry);
[[nodiscard]] std::optional<std::string> claudeCodeCommand(const MCPValue& existingEntry);

[[nodiscard]] MCPValue claudeDesktopManifest(const MCPClientEntry& entry);
[[nodiscard]] std::optional<std::string> claudeDesktopCommand(const MCPValue& existingManifest);

// The texts that a user can paste.
[[nodiscard]] std::string claudeCodeSnippetText(const MCPClientEntry& entry);
[[nodiscard]] std::string claudeDesktopManifestText(const MCPClientEntry& entry);
[[nodiscard]] std::string codexSnippetText(const MCPClientEntry& entry);
[[nodiscard]] std::string snippetText(MCPClientKind kind, const MCPClientEntry& entry);

/// The table `[mcp_servers.tableName]` of a Codex configuration file, absent when there is none. This reads what
/// codexSnippetText writes and what people make of it by hand; it is no TOML parser: an array over several lines reads
/// as empty, and commas part an array even inside quotes.
[[nodiscard]] std::optional<CodexTable> parseCodexTable(std::string_view tableName, std::string_view text);

} // namespace VostelMCPKit::MCPClientConfigLogic
