#include "companion/configs/CodexConfig.h"
#include "companion/configs/CodexOutline.h"
#include "fuzz/fuzz.h"

#include <sstream>
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

using namespace vostel_companion;
using VostelMCPKit::MCPClientConfigLogic::MCPClientEntry;

namespace {

/// Whether the other parser's behaviour is undefined. In a string of several lines, a backslash at the end of a line
/// joins it to the next one. If that one begins with a character other than ASCII, the parser can reach a branch that
/// it calls unreachable.
bool isUndefined(std::string_view text) {
    for (auto at = text.find('\\'); at != text.npos; at = text.find('\\', at + 1)) {
        const auto next = text.find_first_not_of(" \t\n\v\f\r", at + 1);
        if (next != text.npos && next > at + 1 && static_cast<unsigned char>(text[next]) >= 0x80) return true;
    }
    return false;
}

/// The text as another parser reads it; absent when that parser refuses it.
std::optional<toml::table> tableOf(std::string_view text) {
    if (isUndefined(text)) return std::nullopt;
    toml::parse_result result = toml::parse(text);
    if (!result) return std::nullopt;
    return std::move(result).table();
}

/// As JSON, because the parser's own TOML writer computes the width of a number in an array from its logarithm. That is
/// undefined for nan and for numbers close to zero.
std::string textOf(const toml::table& table) {
    std::ostringstream text;
    text << toml::json_formatter{table};
    return text.str();
}

} // namespace

/// The text is the configuration file of a client that uses TOML. Another parser checks each edit.
void check(std::string_view text) {
    const MCPClientEntry entry{"/Applications/Vostel.app/Contents/MacOS/vostel-mcp", {}};
    const auto with = CodexConfig::withEntry(text, entry);
    const auto before = CodexConfig::existingCommand(text);
    if (!before) {
        require(!before.error().description("/a").empty(), "an error says what is wrong");
        return;
    }
    auto table = tableOf(text);
    if (table) {
        const auto node = table->at_path("mcp_servers.vostel.command");
        if (const auto command = node.value<std::string>()) {
            require(*before == command, "another reader finds the same command");
        }
    }
    if (!with) return;
    require(CodexConfig::existingCommand(*with) == entry.command, "an entry that was written is there");
    const auto without = CodexConfig::withoutEntry(*with);
    // Deliberate: an entry in an inline table of all servers can be updated but not removed.
    const bool isInline = outlineCodexConfig(*with)->isEntryInline;
    require(without.has_value() != isInline, "an entry that was written can be removed");
    if (*before == std::optional<std::string>{}) require(*without == text, "removing an entry undoes writing it");

    if (!table) return;
    auto edited = tableOf(*with);
    require(edited.has_value(), "an edited file is still TOML");
    require(edited->at_path("mcp_servers.vostel.command").value<std::string>() == entry.command,
            "another reader finds our command");
    for (auto* each : {&*table, &*edited}) {
        if (auto* servers = each->get_as<toml::table>("mcp_servers")) {
            servers->erase("vostel");
            if (servers->empty()) each->erase("mcp_servers");
        }
    }
    require(textOf(*table) == textOf(*edited), "nothing else is changed");
}
