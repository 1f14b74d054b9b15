#include "companion/configs/ClaudeDesktopConfig.h"
#include "tests/companion/configs/ClientConfigsFixture.h"

#include <gtest/gtest.h>

namespace vostel_companion::ClaudeDesktopConfig {

TEST(ClaudeDesktopConfig, a_missing_manifest_is_written_whole) {
    const std::string manifest =
        R"({"manifest_version":"0.3","name":"vostel","server":{"mcp_config":{"args":[],"command":"/opt/v/vostel-mcp","type":"stdio"},"type":"binary"}})"
        "\n";
    EXPECT_EQ(existingCommand(""), std::nullopt);
    EXPECT_EQ(withEntry("", ourEntry), manifest);
    EXPECT_EQ(existingCommand(manifest), ours);
    EXPECT_EQ(withEntry(manifest, ourEntry), manifest);
}

TEST(ClaudeDesktopConfig, of_an_older_manifest_of_ours_only_the_command_changes) {
    const std::string before = "{\n  \"version\": \"2\",\n  \"server\": {\"mcp_config\": {\"command\": "
                               "\"/old/vostel-mcp\", \"args\": [\"-v\"]}}\n}";
    const std::string after = "{\n  \"version\": \"2\",\n  \"server\": {\"mcp_config\": {\"command\": "
                              "\"/opt/v/vostel-mcp\", \"args\": [\"-v\"]}}\n}";
    EXPECT_EQ(existingCommand(before), "/old/vostel-mcp");
    EXPECT_EQ(withEntry(before, ourEntry), after);
}

TEST(ClaudeDesktopConfig, a_foreign_manifest_is_replaced_whole) {
    for (const std::string text :
         {R"({"server":{"mcp_config":{"command":"node"}}})", R"({"server":{"mcp_config":1}})", "[]"}) {
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
