// Where our entry stands in the text of Codex's configuration file (TOML).
//
// TOML lets the same table be written in many ways; each of these is found:
//
//     [mcp_servers.vostel]            [mcp_servers]                      mcp_servers.vostel.command = "..."
//     command = "..."                 vostel = { command = "..." }
//
// with keys quoted or bare, sub-tables anywhere, and looks the same in a comment or a string told apart. The scanner
// follows the grammar of TOML 1.0, with the line breaks and trailing commas that 1.1 allows in inline tables and the
// escapes that it adds; it does not judge how numbers and dates are made up, nor tables that have nothing to do with
// ours. Nothing recurses, and memory does not grow with the depth or the length of keys. Thread-safe.
//
// The kit has a reader too, parseCodexTable. It reads one simple spelling and knows no positions, so it cannot serve an
// editor; the tests use it to check that what we wrote can be read back.
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
    /// Neighbouring lines that belong to our entry, with their line breaks.
    struct Lines {
        ConfigRange range;
        /// They begin with a table's header.
        bool isTable = false;

        bool operator==(const Lines&) const = default;
    };

    /// In the order of the text; empty when there is no entry, or when it stands within `inlineServers`.
    std::vector<Lines> entry;
    /// The entry's command, and where its value stands with its quotation marks. For a command that is no string there
    /// is no text, and the place is only where the value begins.
    std::optional<ConfigRange> commandValue;
    std::optional<std::string> command;
    /// Where `mcp_servers` as a whole is written as one inline table, which can have no more tables.
    std::optional<std::size_t> inlineServers;
    /// There is an entry within `inlineServers`.
    bool isEntryInline = false;

    [[nodiscard]] bool hasEntry() const { return !entry.empty() || isEntryInline; }

    bool operator==(const CodexOutline&) const = default;
};

/// Fails for a text that is no TOML, for an entry that is there twice, and where `mcp_servers` or the entry is an array
/// of tables or some other value that is no table.
[[nodiscard]] std::expected<CodexOutline, ConfigError> outlineCodexConfig(std::string_view text);

} // namespace vostel_companion
