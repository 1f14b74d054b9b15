#include "companion/configs/ClaudeCodeConfig.h"
#include "companion/configs/ClientConfigs.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/jsonrpc/JSONReader.h"
#include "tests/companion/configs/ClientConfigsFixture.h"
#include "tests/companion/configs/RealTOML.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace vostel_companion {

namespace fs = std::filesystem;
using vostel_tests::TemporaryFolder;
using VostelMCPKit::MCPClientKind;
using VostelMCPKit::readJSON;
namespace Logic = VostelMCPKit::MCPClientConfigLogic;

namespace {

const std::string manifestFolder = "/Library/Application Support/Claude/Claude Extensions/vostel";

struct Home {
    TemporaryFolder folder;

    [[nodiscard]] std::string path() const { return folder.path().string(); }
    [[nodiscard]] std::string operator/(const char* name) const { return path() + "/" + name; }

    [[nodiscard]] ClientConfigReport run(ClientConfigAction action, std::vector<MCPClientKind> kinds = {},
                                         bool force = false) const {
        return processClientConfigs({action, std::move(kinds), path(), ours, force});
    }
};

ClientConfigReport report(ClientConfigExit exit, std::vector<std::string> lines) { return {std::move(lines), exit}; }

} // namespace

TEST(ClientConfigs, an_empty_home_gets_everything_and_calls_it_up_to_date) {
    const Home home;
    const std::string claude = home / ".claude.json";
    const std::string codex = home / ".codex/config.toml";
    const std::string manifest = home.path() + manifestFolder + "/manifest.json";
    EXPECT_EQ(home.run(ClientConfigAction::status),
              report(ClientConfigExit::refused, {"Claude Code: not installed in " + claude + ".",
                                                 "Claude Desktop: not installed in " + manifest + ".",
                                                 "Codex / ChatGPT desktop: not installed in " + codex + "."}));
    EXPECT_EQ(home.run(ClientConfigAction::install),
              report(ClientConfigExit::done,
                     {"Claude Code: installed in " + claude + ".", "Claude Desktop: installed in " + manifest + ".",
                      "Claude Desktop: to finish, open Claude Desktop → Settings → Extensions → Advanced settings, "
                      "choose Install Unpacked Extension… and select the folder " +
                          home.path() + manifestFolder + ".",
                      "Codex / ChatGPT desktop: installed in " + codex + "."}));
    EXPECT_EQ(home.run(ClientConfigAction::status),
              report(ClientConfigExit::done,
                     {"Claude Code: up to date in " + claude + ".", "Claude Desktop: up to date in " + manifest + ".",
                      "Codex / ChatGPT desktop: up to date in " + codex + "."}));

    const Logic::InstallationStatus upToDate{Logic::InstallationStatus::UpToDate{}};
    const auto code = readJSON(readFile(claude));
    const auto desktop = readJSON(readFile(manifest));
    const auto table = Logic::parseCodexTable({.tableName = "vostel", .text = readFile(codex)});
    ASSERT_TRUE(code && desktop && table);
    EXPECT_EQ(Logic::compareInstallation(Logic::claudeCodeCommand(*(*(*code)["mcpServers"])["vostel"]), ourEntry),
              upToDate);
    EXPECT_EQ(Logic::compareInstallation(Logic::claudeDesktopCommand(*desktop), ourEntry), upToDate);
    EXPECT_EQ(Logic::compareInstallation(table->command, ourEntry), upToDate);
    EXPECT_EQ((*parseTOML(readFile(codex)))["mcp_servers"]["vostel"]["command"], ours);
}

TEST(ClientConfigs, installing_again_changes_nothing) {
    const Home home;
    ASSERT_EQ(home.run(ClientConfigAction::install).exit, ClientConfigExit::done);
    const std::string before = readFile(home / ".claude.json");
    EXPECT_EQ(home.run(ClientConfigAction::install, {MCPClientKind::claudeCode}),
              report(ClientConfigExit::done,
                     {"Claude Code: up to date in " + (home / ".claude.json") + "; nothing was changed."}));
    EXPECT_EQ(readFile(home / ".claude.json"), before);
    EXPECT_FALSE(fs::exists(home / ".claude.json.vostel-backup"));
}

TEST(ClientConfigs, an_entry_of_another_copy_is_updated) {
    const Home home;
    const std::string path =
        home.folder.write(".codex/config.toml", "[mcp_servers.vostel]\ncommand = '/old/vostel-mcp'\n");
    EXPECT_EQ(home.run(ClientConfigAction::status, {MCPClientKind::codex}),
              report(ClientConfigExit::refused,
                     {"Codex / ChatGPT desktop: the entry vostel in " + path +
                      " starts another copy of the server, '/old/vostel-mcp'; installing updates it."}));
    EXPECT_EQ(
        home.run(ClientConfigAction::install, {MCPClientKind::codex}),
        report(ClientConfigExit::done, {"Codex / ChatGPT desktop: updated in " + path +
                                        ", where it started another copy of the server, '/old/vostel-mcp'. The file "
                                        "as it was is kept as " +
                                        path + ".vostel-backup."}));
    EXPECT_EQ(home.run(ClientConfigAction::status, {MCPClientKind::codex}).exit, ClientConfigExit::done);
}

TEST(ClientConfigs, a_foreign_entry_is_touched_by_force_alone) {
    const Home home;
    const std::string text = "{\"mcpServers\":{\"vostel\":{\"command\":\"/usr/bin/no\\u001bde\"}}}";
    const std::string path = home.folder.write(".claude.json", text);
    const std::vector claudeCode = {MCPClientKind::claudeCode};
    const std::string left =
        "Claude Code: the entry vostel in " + path + " is not Vostel's: it starts '/usr/bin/no\uFFFDde'.";
    EXPECT_EQ(home.run(ClientConfigAction::status, claudeCode), report(ClientConfigExit::refused, {left}));
    EXPECT_EQ(home.run(ClientConfigAction::install, claudeCode),
              report(ClientConfigExit::refused, {left + " It was left as it is; --force would replace it."}));
    EXPECT_EQ(home.run(ClientConfigAction::remove, claudeCode),
              report(ClientConfigExit::refused, {left + " It was left as it is; --force would remove it."}));
    EXPECT_EQ(readFile(path), text);

    EXPECT_EQ(home.run(ClientConfigAction::install, claudeCode, true),
              report(ClientConfigExit::done, {"Claude Code: installed in " + path +
                                              " in the place of an entry that starts '/usr/bin/no\uFFFDde'. The "
                                              "file as it was is kept as " +
                                              path + ".vostel-backup."}));
    EXPECT_EQ(ClaudeCodeConfig::existingCommand(readFile(path)), ours);

    home.folder.write(".claude.json", text);
    EXPECT_EQ(home.run(ClientConfigAction::remove, claudeCode, true),
              report(ClientConfigExit::done, {"Claude Code: removed from " + path + ". The file as it was is kept as " +
                                              path + ".vostel-backup."}));
    EXPECT_EQ(readFile(path), "{\"mcpServers\":{}}");
}

TEST(ClientConfigs, an_entry_without_a_command_is_foreign) {
    const Home home;
    const std::string path =
        home.folder.write(".claude.json", R"({"mcpServers":{"vostel":{"type":"http","url":"x"}}})");
    EXPECT_EQ(home.run(ClientConfigAction::install, {MCPClientKind::claudeCode}),
              report(ClientConfigExit::refused,
                     {"Claude Code: the entry vostel in " + path +
                      " is not Vostel's: it starts no program. It was left as it is; --force would "
                      "replace it."}));
}

TEST(ClientConfigs, removal_says_what_only_the_client_can_do) {
    const Home home;
    const std::string claude = home / ".claude.json";
    const std::string codex = home / ".codex/config.toml";
    ASSERT_EQ(home.run(ClientConfigAction::install).exit, ClientConfigExit::done);
    EXPECT_EQ(
        home.run(ClientConfigAction::remove),
        report(ClientConfigExit::refused,
               {"Claude Code: removed from " + claude + ". The file as it was is kept as " + claude + ".vostel-backup.",
                "Claude Desktop: Claude Desktop installs Vostel as an extension through its own dialog, and only it "
                "can remove one: open Claude Desktop → Settings → Extensions and remove Vostel there.",
                "Codex / ChatGPT desktop: removed from " + codex + ". The file as it was is kept as " + codex +
                    ".vostel-backup."}));
    EXPECT_TRUE(fs::exists(home.path() + manifestFolder + "/manifest.json"));
    fs::remove_all(home.path() + manifestFolder);
    const std::string manifest = home.path() + manifestFolder + "/manifest.json";
    EXPECT_EQ(home.run(ClientConfigAction::remove),
              report(ClientConfigExit::done,
                     {"Claude Code: not installed in " + claude + "; nothing was changed.",
                      "Claude Desktop: not installed in " + manifest + "; nothing was changed.",
                      "Codex / ChatGPT desktop: not installed in " + codex + "; nothing was changed."}));
}

TEST(ClientConfigs, removal_from_a_home_without_clients_creates_nothing) {
    const Home home;
    EXPECT_EQ(home.run(ClientConfigAction::remove).exit, ClientConfigExit::done);
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST(ClientConfigs, a_broken_file_is_reported_and_the_others_are_served) {
    const Home home;
    const std::string claude = home.folder.write(".claude.json", "{\n  \"a\": 1,\n}");
    for (const ClientConfigAction action :
         {ClientConfigAction::status, ClientConfigAction::install, ClientConfigAction::remove}) {
        const ClientConfigReport done = home.run(action, {MCPClientKind::claudeCode, MCPClientKind::codex});
        EXPECT_EQ(done.exit, ClientConfigExit::failed);
        ASSERT_EQ(done.lines.size(), 2U);
        EXPECT_EQ(done.lines[0], "Claude Code: " + claude + " is not valid JSON at line 3, column 1.");
        EXPECT_TRUE(done.lines[1].starts_with("Codex / ChatGPT desktop: "));
    }
    EXPECT_EQ(readFile(claude), "{\n  \"a\": 1,\n}");
    EXPECT_FALSE(fs::exists(claude + ".vostel-backup"));
}

TEST(ClientConfigs, a_read_only_file_is_reported_by_changes_and_read_by_status) {
    const Home home;
    const std::string claude = home.folder.write(".claude.json", "{}");
    ASSERT_EQ(::chmod(claude.c_str(), 0444), 0);
    EXPECT_EQ(home.run(ClientConfigAction::install, {MCPClientKind::claudeCode}),
              report(ClientConfigExit::failed, {"Claude Code: " + claude + " is read-only."}));
    EXPECT_EQ(home.run(ClientConfigAction::status, {MCPClientKind::claudeCode}).exit, ClientConfigExit::refused);
}

TEST(ClientConfigs, a_request_that_makes_no_sense_is_refused) {
    const Home home;
    struct Row {
        const char* when;
        std::string home;
        std::string helper;
        std::string sentence;
    };
    const Row rows[] = {
        {"a relative home", "home", ours, "The home folder 'home' does not exist."},
        {"no home", "", ours, "The home folder '' does not exist."},
        {"a missing home", "/nowhere/at/all", ours, "The home folder '/nowhere/at/all' does not exist."},
        {"a relative server", home.path(), "bin/vostel-mcp",
         "The path of the server must be absolute, which 'bin/vostel-mcp' is not."},
        {"another server", home.path(), "/bin/node", "The server must be named vostel-mcp, which '/bin/node' is not."},
        {"a line break", home.path(), "/a\nb/vostel-mcp",
         "The path of the server, '/a\uFFFDb/vostel-mcp', holds characters that no configuration can hold."},
        {"not UTF-8", home.path(), "/\xE9/vostel-mcp",
         "The path of the server, '/\uFFFD/vostel-mcp', holds characters that no configuration can hold."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(processClientConfigs({ClientConfigAction::install, {}, row.home, row.helper, false}),
                  report(ClientConfigExit::failed, {row.sentence}));
    });
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST(ClientConfigs, installations_at_the_same_time_agree) {
    const Home home;
    home.folder.write(".claude.json", "{\n  \"a\": 1\n}\n");
    std::vector<ClientConfigReport> reports(6);
    std::vector<std::thread> threads;
    for (ClientConfigReport& report : reports) {
        threads.emplace_back([&] { report = home.run(ClientConfigAction::install); });
    }
    for (std::thread& thread : threads) thread.join();
    for (const ClientConfigReport& report : reports) {
        EXPECT_EQ(report.exit, ClientConfigExit::done) << ::testing::PrintToString(report.lines);
    }
    EXPECT_EQ(home.run(ClientConfigAction::status).exit, ClientConfigExit::done);
    EXPECT_EQ(readFile(home / ".claude.json.vostel-backup"), "{\n  \"a\": 1\n}\n");
    EXPECT_FALSE(fs::exists(home / ".claude.json.vostel-backup-2"));
}

TEST(ClientConfigs, a_slash_after_the_home_folder_does_not_matter) {
    const Home home;
    EXPECT_EQ(
        processClientConfigs({ClientConfigAction::status, {MCPClientKind::claudeCode}, home.path() + "//", ours, false})
            .lines,
        std::vector<std::string>{"Claude Code: not installed in " + (home / ".claude.json") + "."});
}

} // namespace vostel_companion
