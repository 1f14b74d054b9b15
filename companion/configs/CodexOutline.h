// The place of our entry in the text of Codex's configuration file (TOML).
//
// TOML lets the same table be written in many ways; each of these is found:
//
//     [mcp_servers.vostel]            [mcp_servers]                      mcp_servers.vostel.command = "..."
//     command = "..."                 vostel = { command = "..." }
//
// Keys may be quoted or bare, and sub-tables may be anywhere. Similar text in comments and strings is ignored. The
// scanner follows the grammar of TOML 1.0. Of TOML 1.1 it accepts line breaks and trailing commas in inline tables, and
// the new escapes. It does not validate numbers, dates and unrelated tables. Nothing recurses, and memory does not grow
// with the depth or the length of keys. Thread-safe.
//
// Deliberate: the kit has another reader, MCPClientConfigLogic::parseCodexTable. It reads only one form of the table
// and knows no positions. An editor needs every form and the positions. The tests use the kit's reader to check that
// what we wrote can be read back.
#pragma once

#include "companion/configs/ConfigError.h"
#include "companion/configs/ConfigText.h"

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

struct CodexOutline {
    /// Adjacent lines of our entry, with their line breaks.
    struct Lines {
        ConfigRange range;
        /// They begin with a table's header.
        bool isTable = false;

        bool operator==(const Lines&) const = default;
    };

    /// In the order of the text. Empty without an entry, and if the entry is inside `inlineServers`.
    std::vector<Lines> entry;
    /// The range of the command's value, with the quotation marks. If the value is not a string, only its beginning.
    std::optional<ConfigRange> commandValue;
    /// The text of the command. Absent if the value is not a string.
    std::optional<std::string> command;
    /// The place of `mcp_servers` if it is one inline table. Such a table cannot be extended.
    std::optional<std::size_t> inlineServers;
    /// There is an entry inside `inlineServers`.
    bool isEntryInline = false;

    [[nodiscard]] bool hasEntry() const { return !entry.empty() || isEntryInline; }

    bool operator==(const CodexOutline&) const = default;
};

/// Fails for a text that is not TOML, for a repeated entry, for an entry outside an inline `mcp_servers`, and if
/// `mcp_servers` or the entry is not a table.
[[nodiscard]] std::expected<CodexOutline, ConfigError> outlineCodexConfig(std::string_view text);

} // namespace vostel_companion
