#include "companion/commands/ClientsVerb.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "tests/companion/store/StoreFixture.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using VostelMCPKit::MCPClientKind;

namespace {

struct ClientsVerbs : testing::Test {
    StoreFolder home;
    std::string printed;
    std::string told;
    ClientsWorld world{home.path(), home / "bundle/vostel-mcp",
                       [this](std::string_view text) {
                           printed += text;
                           return true;
                       },
                       [this](const std::string& sentence) { told += sentence + "\n"; }};

    void makeServer() const {
        writeFile(world.helper, "#!/bin/sh\n");
        std::filesystem::permissions(world.helper, std::filesystem::perms::owner_all);
    }
};

} // namespace

TEST_F(ClientsVerbs, connect_nobody_to_a_server_that_is_not_there) {
    EXPECT_EQ(run({ClientsVerb::install, {}, false}, world), Exit::failed);
    EXPECT_EQ(told, "The server '" + world.helper.string() +
                        "' is not there or cannot be started, so no client was connected to it.\n");
    EXPECT_EQ(printed, "");
    EXPECT_FALSE(std::filesystem::exists(home / ".claude.json"));
}

TEST_F(ClientsVerbs, what_is_installed_is_up_to_date_in_every_client) {
    makeServer();
    EXPECT_EQ(run({ClientsVerb::status, {}, false}, world), Exit::notAsAsked);
    EXPECT_EQ(run({ClientsVerb::install, {}, false}, world), Exit::done);
    printed.clear();
    EXPECT_EQ(run({ClientsVerb::status, {}, false}, world), Exit::done);
    EXPECT_EQ(printed,
              "Claude Code: up to date in " + (home / ".claude.json").string() + ".\nClaude Desktop: up to date in " +
                  (home / "Library/Application Support/Claude/Claude Extensions/vostel/manifest.json").string() +
                  ".\nCodex / ChatGPT desktop: up to date in " + (home / ".codex/config.toml").string() + ".\n");
    EXPECT_EQ(told, "");
}

TEST_F(ClientsVerbs, one_client_is_left_and_another_stays) {
    makeServer();
    ASSERT_EQ(run({ClientsVerb::install, {}, false}, world), Exit::done);
    EXPECT_EQ(run({ClientsVerb::remove, {MCPClientKind::codex}, false}, world), Exit::done);
    EXPECT_EQ(run({ClientsVerb::status, {MCPClientKind::codex}, false}, world), Exit::notAsAsked);
    EXPECT_EQ(run({ClientsVerb::status, {MCPClientKind::claudeCode}, false}, world), Exit::done);
}

TEST_F(ClientsVerbs, a_foreign_entry_needs_force) {
    makeServer();
    writeFile(home / ".codex/config.toml", "[mcp_servers.vostel]\ncommand = \"/bin/other\"\n");
    EXPECT_EQ(run({ClientsVerb::install, {MCPClientKind::codex}, false}, world), Exit::notAsAsked);
    EXPECT_EQ(readFile(home / ".codex/config.toml"), "[mcp_servers.vostel]\ncommand = \"/bin/other\"\n");
    EXPECT_EQ(run({ClientsVerb::install, {MCPClientKind::codex}, true}, world), Exit::done);
    EXPECT_EQ(run({ClientsVerb::status, {MCPClientKind::codex}, false}, world), Exit::done);
}

TEST_F(ClientsVerbs, a_home_with_control_characters_does_not_reach_the_terminal_raw) {
    makeServer();
    const auto strange = home / "a\x1B[31m";
    std::filesystem::create_directory(strange);
    world.home = strange;
    EXPECT_EQ(run({ClientsVerb::status, {MCPClientKind::codex}, false}, world), Exit::notAsAsked);
    EXPECT_EQ(printed.find('\x1B'), std::string::npos) << printed;
}

} // namespace vostel_companion
