#include "kit/clients/MCPClientKind.h"

#include <algorithm>
#include <cstddef>

namespace VostelMCPKit {

namespace {

struct Facts {
    std::string_view rawValue;
    std::string_view displayName;
    std::string_view pathInHome;
    std::optional<std::string_view> manualRemovalNote;
};

// In the order of the enumeration.
constexpr std::array<Facts, allMCPClientKinds.size()> facts = {{
    {"claudeCode", "Claude Code", "/.claude.json", std::nullopt},
    {"claudeDesktop", "Claude Desktop", "/Library/Application Support/Claude/Claude Extensions",
     "Claude Desktop installs Vostel as an extension through its own dialog, and only it can remove one: open Claude "
     "Desktop → Settings → Extensions and remove Vostel there."},
    {"codex", "Codex / ChatGPT desktop", "/.codex/config.toml", std::nullopt},
}};

const Facts& factsOf(MCPClientKind kind) { return facts[static_cast<std::size_t>(kind)]; }

} // namespace

std::string_view rawValue(MCPClientKind kind) { return factsOf(kind).rawValue; }

std::optional<MCPClientKind> clientKind(std::string_view rawValue) {
    const auto found = std::ranges::find(facts, rawValue, &Facts::rawValue);
    if (found == facts.end()) return std::nullopt;
    return static_cast<MCPClientKind>(found - facts.begin());
}

std::string_view displayName(MCPClientKind kind) { return factsOf(kind).displayName; }

std::string configPath(MCPClientKind kind, std::string_view homeFolder) {
    std::string path{homeFolder};
    path += factsOf(kind).pathInHome;
    return path;
}

std::optional<std::string_view> manualRemovalNote(MCPClientKind kind) { return factsOf(kind).manualRemovalNote; }

} // namespace VostelMCPKit
