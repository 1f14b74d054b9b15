#include "companion/configs/ClaudeDesktopConfig.h"
#include "kit/jsonrpc/JSONReader.h"
#include "tests/companion/configs/ClientConfigsFixture.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion::ClaudeDesktopConfig {

namespace {

/// Our manifest whose configuration of the server also has `rest`.
std::string manifest(const std::string& args = "[]", const std::string& rest = "") {
    return R"({
  "author": {
    "name": "Vostel"
  },
  "description": "Transcribes recordings, video links and calls on this computer, and learns your words.",
  "display_name": "Vostel",
  "manifest_version": "0.3",
  "name": "vostel",
  "server": {
    "entry_point": "/opt/v/vostel-mcp",
    "mcp_config": {
      "args": )" +
           args + R"(,
      "command": "/opt/v/vostel-mcp")" +
           rest + R"(
    },
    "type": "binary"
  },
  "version": "1.0.0"
}
)";
}

} // namespace

TEST(ClaudeDesktopConfig, a_missing_manifest_is_written) {
    EXPECT_EQ(existingCommand(""), std::nullopt);
    EXPECT_EQ(withEntry("", ourEntry), manifest());
    EXPECT_EQ(existingCommand(manifest()), ours);
    EXPECT_EQ(withEntry(manifest(), ourEntry), manifest());
}

TEST(ClaudeDesktopConfig,
     the_manifest_has_the_members_of_the_kits_manifest_without_the_type_that_the_official_tool_refuses) {
    using namespace VostelMCPKit;
    const auto written = readJSON(withEntry("", ourEntry).value_or(""));
    const MCPValue rules = MCPClientConfigLogic::claudeDesktopManifest(ourEntry);
    ASSERT_TRUE(written);
    for (const char* name : {"manifest_version", "name"}) EXPECT_EQ(*written->find(name), *rules.find(name));
    EXPECT_EQ(*written->find("server", "type"), *rules.find("server", "type"));
    for (const char* name : {"command", "args"}) {
        EXPECT_EQ(*written->find("server", "mcp_config", name), *rules.find("server", "mcp_config", name));
    }
    EXPECT_EQ(written->find("server", "mcp_config", "type"), nullptr);
}

TEST(ClaudeDesktopConfig, the_layout_of_the_manifest_does_not_matter) {
    std::string text = manifest();
    std::erase(text, '\n');
    EXPECT_EQ(withEntry(text, ourEntry), text);
}

TEST(ClaudeDesktopConfig, an_older_manifest_of_ours_is_updated_and_keeps_what_the_user_added) {
    struct Row {
        const char* when;
        std::string config;
        std::string after;
    };
    const Row rows[] = {
        {"another copy", R"({"command":"/old/vostel-mcp","args":["-v"]})", manifest(R"(["-v"])")},
        {"an environment", R"({"command":"/opt/v/vostel-mcp","env":{"A":"1"}})",
         manifest("[]", ",\n      \"env\": {\n        \"A\": \"1\"\n      }")},
        {"what the official tool refuses", R"({"command":"/opt/v/vostel-mcp","type":"stdio","cwd":"/"})", manifest()},
        {"additions of the wrong kind", R"({"command":"/opt/v/vostel-mcp","args":[1],"env":{"A":1}})", manifest()},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const std::string before = R"({"name":"vostel","version":"2","server":{"mcp_config":)" + row.config + "}}";
        EXPECT_EQ(withEntry(before, ourEntry), row.after);
        EXPECT_EQ(withEntry(row.after, ourEntry), row.after);
    });
}

TEST(ClaudeDesktopConfig, a_foreign_manifest_is_replaced_completely) {
    for (const std::string text :
         {R"({"server":{"mcp_config":{"command":"node","args":["x"]}}})", R"({"server":{"mcp_config":1}})", "[]"}) {
        SCOPED_TRACE(text);
        const auto command = existingCommand(text);
        ASSERT_TRUE(command);
        EXPECT_TRUE(*command == "node" || *command == "");
        EXPECT_EQ(withEntry(text, ourEntry), withEntry("", ourEntry));
    }
}

TEST(ClaudeDesktopConfig, a_broken_manifest_is_reported) {
    for (const std::string text : {"{", R"({"server":{},"server":{}})"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(existingCommand(text));
        EXPECT_FALSE(withEntry(text, ourEntry));
    }
}

} // namespace vostel_companion::ClaudeDesktopConfig
