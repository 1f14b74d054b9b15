#include "companion/configs/ClaudeCodeConfig.h"
#include "companion/configs/ClientConfigs.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/jsonrpc/JSONReader.h"
#include "tests/companion/configs/ClientConfigsFixture.h"
#include "tests/companion/configs/RealTOML.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <map>
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

const std::vector everyKind(VostelMCPKit::allMCPClientKinds.begin(), VostelMCPKit::allMCPClientKinds.end());

struct Home {
    TemporaryFolder folder;
    /// The folders in which to look for the programs of the clients.
    std::string searchPath;

    [[nodiscard]] std::string path() const { return folder.path().string(); }
    [[nodiscard]] std::string operator/(const char* name) const { return path() + "/" + name; }

    [[nodiscard]] ClientConfigReport run(ClientConfigAction action, std::vector<MCPClientKind> kinds = {},
                                         bool force = false) const {
        return processClientConfigs({action, std::move(kinds), path(), ours, force, searchPath});
    }
};

/// Everything in `folder`: the relative path and the content of each file. Folders have no content.
std::map<std::string, std::string> contents(const fs::path& folder) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator{folder}) {
        const std::string name = entry.path().lexically_relative(folder).string();
        found[name] = entry.is_regular_file() ? readFile(entry.path()) : "";
    }
    return found;
}

ClientConfigReport report(ClientConfigExit exit, std::vector<std::string> lines) { return {std::move(lines), exit}; }

} // namespace

TEST(ClientConfigs, named_clients_are_connected_in_an_empty_home) {
    const Home home;
    const std::string claude = home / ".claude.json";
    const std::string codex = home / ".codex/config.toml";
    const std::string manifest = home.path() + manifestFolder + "/manifest.json";
    EXPECT_EQ(home.run(ClientConfigAction::status),
              report(ClientConfigExit::refused, {"Claude Code: not installed in " + claude + ".",
                                                 "Claude Desktop: not installed in " + manifest + ".",
                                                 "Codex / ChatGPT desktop: not installed in " + codex + "."}));
    EXPECT_EQ(home.run(ClientConfigAction::install, everyKind),
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
    ASSERT_EQ(home.run(ClientConfigAction::install, everyKind).exit, ClientConfigExit::done);
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
        report(ClientConfigExit::done,
               {"Codex / ChatGPT desktop: updated in " + path +
                ", where it started another copy of the server, '/old/vostel-mcp'. The previous file is kept as " +
                path + ".vostel-backup."}));
    EXPECT_EQ(home.run(ClientConfigAction::status, {MCPClientKind::codex}).exit, ClientConfigExit::done);
}

TEST(ClientConfigs, a_manifest_of_an_older_form_is_not_up_to_date) {
    const Home home;
    const std::string path = home.path() + manifestFolder + "/manifest.json";
    home.folder.write("Library/Application Support/Claude/Claude Extensions/vostel/manifest.json",
                      Logic::claudeDesktopManifestText(ourEntry));
    const std::vector desktop = {MCPClientKind::claudeDesktop};
    EXPECT_EQ(home.run(ClientConfigAction::status, desktop),
              report(ClientConfigExit::refused, {"Claude Desktop: " + path +
                                                 " has an older form, which the client may refuse; installing updates "
                                                 "it."}));
    EXPECT_EQ(home.run(ClientConfigAction::install, desktop).lines[0],
              "Claude Desktop: updated in " + path + ", which had an older form. The previous file is kept as " + path +
                  ".vostel-backup.");
    EXPECT_EQ(home.run(ClientConfigAction::status, desktop).exit, ClientConfigExit::done);
}

TEST(ClientConfigs, a_foreign_entry_is_changed_only_with_force) {
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
              report(ClientConfigExit::done,
                     {"Claude Code: installed in " + path +
                      " instead of an entry that starts '/usr/bin/no\uFFFDde'. The previous file is kept as " + path +
                      ".vostel-backup."}));
    EXPECT_EQ(ClaudeCodeConfig::existingCommand(readFile(path)), ours);

    home.folder.write(".claude.json", text);
    EXPECT_EQ(home.run(ClientConfigAction::remove, claudeCode, true),
              report(ClientConfigExit::done, {"Claude Code: removed from " + path + ". The previous file is kept as " +
                                              path + ".vostel-backup."}));
    EXPECT_EQ(contents(home.path()),
              (std::map<std::string, std::string>{{".claude.json", "{}"}, {".claude.json.vostel-backup", text}}));
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

TEST(ClientConfigs, removal_says_what_the_user_must_do_in_the_client) {
    const Home home;
    const std::string claude = home / ".claude.json";
    const std::string codex = home / ".codex/config.toml";
    ASSERT_EQ(home.run(ClientConfigAction::install, everyKind).exit, ClientConfigExit::done);
    EXPECT_EQ(
        home.run(ClientConfigAction::remove),
        report(ClientConfigExit::refused,
               {"Claude Code: removed from " + claude + ".",
                "Claude Desktop: Claude Desktop installs Vostel as an extension through its own dialog, and only it "
                "can remove one: open Claude Desktop → Settings → Extensions and remove Vostel there.",
                "Codex / ChatGPT desktop: removed from " + codex + "."}));
    EXPECT_TRUE(fs::exists(home.path() + manifestFolder + "/manifest.json"));
    fs::remove_all(home.path() + manifestFolder);
    const std::string manifest = home.path() + manifestFolder + "/manifest.json";
    EXPECT_EQ(home.run(ClientConfigAction::remove),
              report(ClientConfigExit::done,
                     {"Claude Code: not installed in " + claude + "; nothing was changed.",
                      "Claude Desktop: not installed in " + manifest + "; nothing was changed.",
                      "Codex / ChatGPT desktop: not installed in " + codex + "; nothing was changed."}));
}

TEST(ClientConfigs, without_a_name_the_clients_on_this_computer_are_connected) {
    Home home;
    const std::string code = "Claude Code: skipped, because it is not on this computer: there is no " +
                             (home / ".claude.json") + " and no " + (home / ".claude") +
                             " and no program claude. To connect it anyway, run: Vostel clients install claude-code";
    const std::string desktop = "Claude Desktop: skipped, because it is not on this computer: there is no " +
                                (home / "Library/Application Support/Claude") +
                                ". To connect it anyway, run: Vostel clients install claude-desktop";
    const std::string codex = "Codex / ChatGPT desktop: skipped, because it is not on this computer: there is no " +
                              (home / ".codex") +
                              " and no program codex. To connect it anyway, run: Vostel clients install codex";
    EXPECT_EQ(home.run(ClientConfigAction::install), report(ClientConfigExit::refused, {code, desktop, codex}));
    EXPECT_EQ(contents(home.path()), (std::map<std::string, std::string>{}));

    fs::create_directory(home / ".codex");
    EXPECT_EQ(home.run(ClientConfigAction::install),
              report(ClientConfigExit::done,
                     {code, desktop, "Codex / ChatGPT desktop: installed in " + (home / ".codex/config.toml") + "."}));

    home.searchPath = "relative:/nowhere:" + (home / "bin");
    home.folder.write("bin/claude", "#!/bin/sh\n");
    EXPECT_EQ(home.run(ClientConfigAction::install).lines[0], code) << "which is not executable";
    fs::permissions(home / "bin/claude", fs::perms::owner_all);
    EXPECT_EQ(home.run(ClientConfigAction::install).lines[0],
              "Claude Code: installed in " + (home / ".claude.json") + ".");

    fs::create_directories(home / "Library/Application Support/Claude");
    EXPECT_EQ(home.run(ClientConfigAction::install).exit, ClientConfigExit::done);
    EXPECT_EQ(home.run(ClientConfigAction::status).exit, ClientConfigExit::done);
}

TEST(ClientConfigs, removal_restores_the_files_from_before_the_installation) {
    struct Row {
        const char* when;
        MCPClientKind kind;
        std::string file;
        /// Absent: there is no file.
        std::optional<std::string> text;
    };
    const std::string code = ".claude.json";
    const std::string codex = ".codex/config.toml";
    const Row rows[] = {
        {"no file", MCPClientKind::claudeCode, code, std::nullopt},
        {"no file in no folder", MCPClientKind::codex, codex, std::nullopt},
        {"an empty file", MCPClientKind::claudeCode, code, ""},
        {"only a line break", MCPClientKind::claudeCode, code, "\r\n"},
        {"an empty object", MCPClientKind::claudeCode, code, "{}"},
        {"an empty object over lines", MCPClientKind::claudeCode, code, "{\n}\n"},
        {"settings without servers", MCPClientKind::claudeCode, code, "{\n\t\"a\": [1,  2]\n}"},
        {"no servers", MCPClientKind::claudeCode, code, "{ \"mcpServers\" : { }, \"a\":1 }"},
        {"other servers", MCPClientKind::claudeCode, code, R"({"mcpServers":{"b":{}}})"},
        {"an empty file of Codex", MCPClientKind::codex, codex, ""},
        {"only a byte order mark", MCPClientKind::codex, codex, byteOrderMark},
        {"settings without a last line break", MCPClientKind::codex, codex, "a = 1"},
        {"other tables", MCPClientKind::codex, codex, "[mcp_servers.a]\r\ncommand = 'b'\r\n"},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Home home;
        const std::string path = home / row.file.c_str();
        if (row.text) home.folder.write(row.file, *row.text);
        const auto before = contents(home.path());
        ASSERT_EQ(home.run(ClientConfigAction::install, {row.kind}).exit, ClientConfigExit::done);
        ASSERT_EQ(fs::exists(path + ".vostel-backup"), row.text.has_value());
        EXPECT_EQ(home.run(ClientConfigAction::remove, {row.kind}),
                  report(ClientConfigExit::done, {std::string{displayName(row.kind)} + ": removed from " + path + "." +
                                                  (row.text ? " The backup was deleted." : "")}));
        EXPECT_EQ(contents(home.path()), before);
    });
}

TEST(ClientConfigs, removal_keeps_later_changes_of_other_programs) {
    struct Row {
        const char* when;
        std::string before;
        std::string since;
        std::string after;
    };
    const std::string entry = R"("vostel":{"args":[],"command":"/opt/v/vostel-mcp","type":"stdio"})";
    const Row rows[] = {
        {"a setting, and we made the list of servers", R"({"a":1})", R"({"a":2,"mcpServers":{)" + entry + "}}",
         R"({"a":2})"},
        {"a setting, and the list was there", R"({"a":1,"mcpServers":{}})", R"({"a":2,"mcpServers":{)" + entry + "}}",
         R"({"a":2,"mcpServers":{}})"},
        {"a server", R"({"a":1})", R"({"a":1,"mcpServers":{)" + entry + R"(,"b":{}}})",
         R"({"a":1,"mcpServers":{"b":{}}})"},
        {"settings of the entry", R"({"a":1})",
         R"({"a":1,"mcpServers":{"vostel":{"command":"/opt/v/vostel-mcp","env":{"A":"1"}}}})", R"({"a":1})"},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Home home;
        home.folder.write(".claude.json", row.before);
        ASSERT_EQ(home.run(ClientConfigAction::install, {MCPClientKind::claudeCode}).exit, ClientConfigExit::done);
        home.folder.write(".claude.json", row.since);
        EXPECT_EQ(home.run(ClientConfigAction::remove, {MCPClientKind::claudeCode}).exit, ClientConfigExit::done);
        EXPECT_EQ(contents(home.path()), (std::map<std::string, std::string>{{".claude.json", row.after}}));
    });
}

TEST(ClientConfigs, an_update_keeps_one_backup_and_removal_deletes_it) {
    const Home home;
    const std::string path =
        home.folder.write(".claude.json", R"({"mcpServers":{"vostel":{"command":"/old/vostel-mcp"}}})");
    for (int number = 2; number < 34; ++number) {
        home.folder.write(".claude.json.vostel-backup-" + std::to_string(number), "a secret");
    }
    ASSERT_EQ(home.run(ClientConfigAction::install, {MCPClientKind::claudeCode}).exit, ClientConfigExit::done);
    EXPECT_EQ(contents(home.path()).size(), 2U);
    EXPECT_EQ(home.run(ClientConfigAction::remove, {MCPClientKind::claudeCode}).lines,
              std::vector<std::string>{"Claude Code: removed from " + path + ". The backup was deleted."});
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST(ClientConfigs, removal_deletes_backups_even_if_the_entry_is_missing) {
    const Home home;
    const std::string path = home.folder.write(".claude.json", "{}");
    home.folder.write(".claude.json.vostel-backup", "a secret");
    EXPECT_EQ(home.run(ClientConfigAction::remove, {MCPClientKind::claudeCode}).lines,
              std::vector<std::string>{"Claude Code: not installed in " + path +
                                       "; nothing was changed. The backup was deleted."});
    EXPECT_EQ(contents(home.path()), (std::map<std::string, std::string>{{".claude.json", "{}"}}));
}

TEST(ClientConfigs, removal_from_a_home_without_clients_creates_nothing) {
    const Home home;
    EXPECT_EQ(home.run(ClientConfigAction::remove).exit, ClientConfigExit::done);
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST(ClientConfigs, a_broken_file_is_reported_and_the_other_clients_are_processed) {
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

TEST(ClientConfigs, an_invalid_request_is_refused) {
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
         "The path of the server, '/a\uFFFDb/vostel-mcp', contains characters that configuration files cannot "
         "contain."},
        {"not UTF-8", home.path(), "/\xE9/vostel-mcp",
         "The path of the server, '/\uFFFD/vostel-mcp', contains characters that configuration files cannot contain."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(processClientConfigs({ClientConfigAction::install, {}, row.home, row.helper, false}),
                  report(ClientConfigExit::failed, {row.sentence}));
    });
    EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST(ClientConfigs, installations_at_the_same_time_all_succeed) {
    const Home home;
    home.folder.write(".claude.json", "{\n  \"a\": 1\n}\n");
    std::vector<ClientConfigReport> reports(6);
    std::vector<std::thread> threads;
    for (ClientConfigReport& report : reports) {
        threads.emplace_back([&] { report = home.run(ClientConfigAction::install, everyKind); });
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
