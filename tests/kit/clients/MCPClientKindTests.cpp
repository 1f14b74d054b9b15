#include "kit/clients/MCPClientKind.h"

#include <gtest/gtest.h>
#include <string_view>

namespace VostelMCPKit {
namespace {

TEST(MCPClientKind, each_kind_has_its_names_path_and_note) {
    struct Row {
        MCPClientKind kind;
        std::string_view rawValue;
        std::string_view displayName;
        std::string_view configPath;
        std::optional<std::string_view> note;
    };
    const Row rows[] = {
        {MCPClientKind::claudeCode, "claudeCode", "Claude Code", "/Users/ann/.claude.json", {}},
        {MCPClientKind::claudeDesktop, "claudeDesktop", "Claude Desktop",
         "/Users/ann/Library/Application Support/Claude/Claude Extensions",
         "Claude Desktop installs Vostel as an extension through its own dialog, and only it can remove one: open "
         "Claude Desktop → Settings → Extensions and remove Vostel there."},
        {MCPClientKind::codex, "codex", "Codex / ChatGPT desktop", "/Users/ann/.codex/config.toml", {}},
    };
    ASSERT_EQ(std::size(rows), allMCPClientKinds.size());
    for (std::size_t index = 0; index < std::size(rows); ++index) {
        const Row& row = rows[index];
        SCOPED_TRACE(row.rawValue);
        EXPECT_EQ(allMCPClientKinds[index], row.kind);
        EXPECT_EQ(rawValue(row.kind), row.rawValue);
        EXPECT_EQ(clientKind(row.rawValue), row.kind);
        EXPECT_EQ(encode(row.kind), MCPValue{row.rawValue});
        EXPECT_EQ(displayName(row.kind), row.displayName);
        EXPECT_EQ(configPath(row.kind, "/Users/ann"), row.configPath);
        EXPECT_EQ(manualRemovalNote(row.kind), row.note);
    }
}

TEST(MCPClientKind, other_names_are_not_a_kind) {
    for (const std::string_view name : {"", "claude", "Codex", "codex ", "Claude Code"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(clientKind(name), std::nullopt);
    }
}

} // namespace
} // namespace VostelMCPKit
