// The server's entry in each AI client's configuration: how it is written, read back, and compared.
//
// These are rules only: reading and writing the files is the installer's work. All functions are thread-safe, keep no
// state, and return values that share nothing with their arguments. All text is UTF-8.
//
//     const auto wanted = makeEntry(helperPath, {});
//     const auto status = compareInstallation(claudeCodeCommand(existingEntry), *wanted);
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
/// The executable's file name. An entry whose command ends in it counts as ours.
inline constexpr std::string_view helperBinaryName = "vostel-mcp";
/// The `manifest_version` of the Claude Desktop extension.
inline constexpr std::string_view mcpbManifestVersion = "0.3";

/// What a client needs to start the server.
struct MCPClientEntry {
    /// Absolute path of the executable.
    std::string command;
    /// Arguments for the executable, without its name.
    std::vector<std::string> args;

    bool operator==(const MCPClientEntry&) const = default;
};

/// How a client's entry compares with the one we want.
struct InstallationStatus {
    /// The entry runs another copy of vostel-mcp.
    struct StalePath {
        /// The executable that it runs.
        std::string previousCommand;
        bool operator==(const StalePath&) const = default;
    };
    /// The entry runs a program that is not vostel-mcp.
    struct ForeignEntry {
        /// Empty when its command is the empty string.
        std::string existingCommand;
        bool operator==(const ForeignEntry&) const = default;
    };
    /// There is no entry, or it has no command.
    struct NotInstalled {
        bool operator==(const NotInstalled&) const = default;
    };
    /// The entry runs exactly the wanted executable.
    struct UpToDate {
        bool operator==(const UpToDate&) const = default;
    };

    std::variant<StalePath, ForeignEntry, NotInstalled, UpToDate> is;

    bool operator==(const InstallationStatus&) const = default;
};

/// What the table of an entry in a Codex configuration file says.
struct CodexTable {
    /// Absent when the table has no command in double quotes.
    std::optional<std::string> command;
    /// Empty when the table has none on one line.
    std::vector<std::string> args;

    bool operator==(const CodexTable&) const = default;
};

/// The entry to install. Absent unless `helperPath` begins with "/".
[[nodiscard]] std::optional<MCPClientEntry> makeEntry(std::string_view helperPath, std::vector<std::string> args);

/// Compares the command of the client's entry, absent when there is none, with ours. Deliberate: only the command
/// counts. An entry with other arguments is up to date, and an installer that mends a stale path keeps its arguments.
[[nodiscard]] InstallationStatus compareInstallation(std::optional<std::string_view> existingCommand,
                                                     const MCPClientEntry& ourEntry);

/// The object to write for the key `entryName` in Claude Code's configuration.
[[nodiscard]] MCPValue claudeCodeEntry(const MCPClientEntry& entry);
/// The command of such an object; absent when it is not an object or its command is not a string.
[[nodiscard]] std::optional<std::string> claudeCodeCommand(const MCPValue& existingEntry);

/// The manifest of the extension for Claude Desktop.
[[nodiscard]] MCPValue claudeDesktopManifest(const MCPClientEntry& entry);
/// The command of such a manifest; absent when any object on the way is missing or the command is not a string.
[[nodiscard]] std::optional<std::string> claudeDesktopCommand(const MCPValue& existingManifest);

// For an application that shows the user what to paste. The reference application edits the files itself.

/// claudeCodeEntry as JSON on one line, without a line break. The key is not a part of it.
[[nodiscard]] std::string claudeCodeSnippetText(const MCPClientEntry& entry);
/// claudeDesktopManifest as JSON on one line without a line break.
[[nodiscard]] std::string claudeDesktopManifestText(const MCPClientEntry& entry);
/// A TOML table of two or three lines, each with its line feed.
[[nodiscard]] std::string codexSnippetText(const MCPClientEntry& entry);
/// The text for `kind`: one of the three above.
[[nodiscard]] std::string snippetText(MCPClientKind kind, const MCPClientEntry& entry);

/// Write the names at the call: `parseCodexTable({.tableName = entryName, .text = file})`.
struct CodexSource {
    /// The part after "mcp_servers." in the table's header.
    std::string_view tableName;
    /// A whole Codex configuration file.
    std::string_view text;
};

/// The table `[mcp_servers.tableName]`; absent when there is none. This is a small reader for what codexSnippetText
/// writes and for simple changes made by hand. It is not a TOML parser: an array over several lines reads as empty, and
/// a comma inside quotes separates elements. An application that edits the file needs the positions and all spellings
/// of TOML, which is why the reference application has a scanner of its own.
[[nodiscard]] std::optional<CodexTable> parseCodexTable(CodexSource source);

} // namespace VostelMCPKit::MCPClientConfigLogic
