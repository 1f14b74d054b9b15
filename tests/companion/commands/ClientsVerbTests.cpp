#include "companion/commands/ClientsVerb.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "tests/companion/store/StoreFixture.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using VostelMCPKit::MCPClientKind;

namespace {

const std::vector everyKind(VostelMCPKit::allMCPClientKinds.begin(), VostelMCPKit::allMCPClientKinds.end());

struct ClientsVerbs : testing::Test {
    StoreFolder home;
    std::string printed;
    std::string errors;
    ClientsContext context{.home = home.path(),
                           .helper = home / "bundle/vostel-mcp",
                           .searchPath = "",
                           .print =
                               [this](std::string_view text) {
                                   printed += text;
                                   return true;
                               },
                           .printError = [this](const std::string& sentence) { errors += sentence + "\n"; }};

    void makeServer() const {
        writeFile(context.helper, "#!/bin/sh\n");
        std::filesystem::permissions(context.helper, std::filesystem::perms::owner_all);
    }
};

} // namespace

TEST_F(ClientsVerbs, connect_no_client_to_a_missing_server) {
    EXPECT_EQ(run({ClientConfigAction::install, {}, false}, context), Exit::failed);
    EXPECT_EQ(errors, "The server '" + context.helper.string() +
                          "' does not exist or cannot be executed, so no client was connected to it.\n");
    EXPECT_EQ(printed, "");
    EXPECT_FALSE(std::filesystem::exists(home / ".claude.json"));
}

TEST_F(ClientsVerbs, after_an_installation_every_client_is_up_to_date) {
    makeServer();
    EXPECT_EQ(run({ClientConfigAction::status, {}, false}, context), Exit::refused);
    EXPECT_EQ(run({ClientConfigAction::install, everyKind, false}, context), Exit::done);
    printed.clear();
    EXPECT_EQ(run({ClientConfigAction::status, {}, false}, context), Exit::done);
    EXPECT_EQ(printed,
              "Claude Code: up to date in " + (home / ".claude.json").string() + ".\nClaude Desktop: up to date in " +
                  (home / "Library/Application Support/Claude/Claude Extensions/vostel/manifest.json").string() +
                  ".\nCodex / ChatGPT desktop: up to date in " + (home / ".codex/config.toml").string() + ".\n");
    EXPECT_EQ(errors, "");
}

TEST_F(ClientsVerbs, one_client_is_disconnected_and_another_stays) {
    makeServer();
    ASSERT_EQ(run({ClientConfigAction::install, everyKind, false}, context), Exit::done);
    EXPECT_EQ(run({ClientConfigAction::remove, {MCPClientKind::codex}, false}, context), Exit::done);
    EXPECT_EQ(run({ClientConfigAction::status, {MCPClientKind::codex}, false}, context), Exit::refused);
    EXPECT_EQ(run({ClientConfigAction::status, {MCPClientKind::claudeCode}, false}, context), Exit::done);
}

TEST_F(ClientsVerbs, a_foreign_entry_needs_force) {
    makeServer();
    writeFile(home / ".codex/config.toml", "[mcp_servers.vostel]\ncommand = \"/bin/other\"\n");
    EXPECT_EQ(run({ClientConfigAction::install, {MCPClientKind::codex}, false}, context), Exit::refused);
    EXPECT_EQ(readFile(home / ".codex/config.toml"), "[mcp_servers.vostel]\ncommand = \"/bin/other\"\n");
    EXPECT_EQ(run({ClientConfigAction::install, {MCPClientKind::codex}, true}, context), Exit::done);
    EXPECT_EQ(run({ClientConfigAction::status, {MCPClientKind::codex}, false}, context), Exit::done);
}

TEST_F(ClientsVerbs, control_characters_in_the_home_folder_are_not_printed) {
    makeServer();
    const auto strange = home / "a\x1B[31m";
    std::filesystem::create_directory(strange);
    context.home = strange;
    EXPECT_EQ(run({ClientConfigAction::status, {MCPClientKind::codex}, false}, context), Exit::refused);
    EXPECT_EQ(printed.find('\x1B'), std::string::npos) << printed;
}

} // namespace vostel_companion
