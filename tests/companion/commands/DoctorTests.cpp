// The real doctor with real installations, healthy and broken.
#include "companion/support/Paths.h"
#include "tests/companion/support/Program.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>

namespace vostel_companion {

using vostel_tests::Program;
using vostel_tests::writeFile;

namespace {

const std::filesystem::path bundle = VOSTEL_BUNDLE;

/// An installation of its own, with all clients connected.
struct Installation {
    vostel_tests::TemporaryFolder home;
    Paths paths = Paths::in(home.path() / "Library/Application Support");

    Installation() { EXPECT_EQ(vostel({"clients", "install", "claude-code", "claude-desktop", "codex"}), 0); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
    /// Ends the application that the doctor's call has started.
    ~Installation() {
        pid_t application = 0;
        std::ifstream{paths.folder / "Vostel.pid"} >> application;
        if (application <= 0) return;
        ::kill(application, SIGTERM);
        for (int tries = 0; ::kill(application, 0) == 0 && tries < 3000; ++tries) ::poll(nullptr, 0, 10);
    }

    int vostel(const std::vector<std::string>& arguments) {
        Program program{bundle / "Vostel", arguments, home.path()};
        const int status = program.status();
        printed = program.output();
        return status;
    }
    /// Whether the doctor finds something wrong and says `sentence` about it.
    testing::AssertionResult complains(const std::string& sentence) {
        const int status = vostel({"doctor"});
        if (status == 1 && printed.contains("WRONG  " + sentence)) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "exit status " << status << "\n" << printed;
    }

    /// What the last command printed.
    std::string printed;
};

} // namespace

TEST(Doctor, a_healthy_installation_has_no_complaint) {
    Installation installation;
    EXPECT_EQ(installation.vostel({"doctor"}), 0) << installation.printed;
    EXPECT_TRUE(installation.printed.contains("note   Vostel does not run. The first call starts it.\n"));
    EXPECT_TRUE(installation.printed.contains("ok     A call through vostel-mcp was answered after "))
        << installation.printed;
    // Now it runs, because of the call.
    EXPECT_EQ(installation.vostel({"doctor"}), 0) << installation.printed;
    for (const char* line : {
             "ok     The data folder ",
             "ok     The database is sound.\n",
             "ok     Vostel runs and answers, and speaks version 4 of the protocol.\n",
             "ok     The English speech model is installed.\n",
             "ok     Claude Code is connected.\n",
             "ok     Claude Desktop is connected.\n",
             "ok     Codex / ChatGPT desktop is connected.\n",
         }) {
        EXPECT_TRUE(installation.printed.contains(line)) << line << installation.printed;
    }
}

TEST(Doctor, says_what_is_wrong_with_the_data_and_what_to_do) {
    Installation installation;
    const Paths& paths = installation.paths;
    std::filesystem::create_directories(paths.folder);
    std::filesystem::permissions(paths.folder, std::filesystem::perms::all);
    EXPECT_TRUE(
        installation.complains("The data folder '" + paths.folder.string() +
                               "' can be written to by other users. Check what is in it, then run: chmod 700 '" +
                               paths.folder.string() + "'\n"));
    EXPECT_TRUE(installation.printed.contains("WRONG  A call through vostel-mcp failed: Vostel does not serve from "))
        << installation.printed;
}

TEST(Doctor, says_that_the_database_is_damaged) {
    Installation installation;
    writeFile(installation.paths.database(), std::string(5000, 'x'));
    std::filesystem::permissions(installation.paths.folder, std::filesystem::perms::owner_all);
    const std::string reason = "Vostel's database " + installation.paths.database().string() + " is damaged (";
    EXPECT_TRUE(installation.complains(reason));
    EXPECT_TRUE(installation.printed.contains("WRONG  A call through vostel-mcp failed: " + reason))
        << installation.printed;
}

TEST(Doctor, says_what_is_wrong_with_each_client) {
    Installation installation;
    const std::filesystem::path home = installation.home.path();
    const std::string server = (bundle / "vostel-mcp").string();
    writeFile(home / ".claude.json", R"({"mcpServers":{"vostel":{"command":"/gone/vostel-mcp"}}})");
    writeFile(home / ".codex/config.toml", "[mcp_servers.vostel]\ncommand = \"" + server + "\"\n");
    EXPECT_TRUE(installation.complains(
        "Claude Code starts '/gone/vostel-mcp', which is gone. Run: Vostel clients install claude-code\n"));
    EXPECT_TRUE(installation.printed.contains(
        "WRONG  Codex / ChatGPT desktop gives a call up after 60 seconds, and an hour of speech takes longer. Write "
        "tool_timeout_sec = 3600 under [mcp_servers.vostel] in '" +
        (home / ".codex/config.toml").string() + "'.\n"))
        << installation.printed;

    writeFile(home / ".claude.json", R"({"mcpServers":{"vostel":{"command":"node"}}})");
    writeFile(home / ".codex/config.toml", "broken");
    EXPECT_TRUE(installation.complains("Claude Code has an entry vostel that starts 'node' instead of vostel-mcp. Run: "
                                       "Vostel clients install claude-code --force\n"));
    EXPECT_TRUE(installation.printed.contains(
        "WRONG  Codex / ChatGPT desktop: " + (home / ".codex/config.toml").string() + " is not valid TOML"))
        << installation.printed;
}

TEST(Doctor, reads_the_configuration_that_the_client_reads) {
    Installation installation;
    const std::filesystem::path moved = installation.home.path() / "moved";
    writeFile(moved / ".claude.json", R"({"mcpServers":{"vostel":{"command":"/old/vostel-mcp"}}})");
    ::setenv("CLAUDE_CONFIG_DIR", moved.c_str(), 1);
    ::setenv("CODEX_HOME", moved.c_str(), 1);
    EXPECT_TRUE(installation.complains("Claude Code reads '" + (moved / ".claude.json").string() +
                                       "', because a variable of the environment says so. It starts "
                                       "'/old/vostel-mcp', which is gone. Correct the command by hand to '" +
                                       (bundle / "vostel-mcp").string() + "'.\n"));
    EXPECT_TRUE(installation.printed.contains("note   Codex / ChatGPT desktop reads '" +
                                              (moved / "config.toml").string() +
                                              "', because a variable of the environment says so. It is not connected."))
        << installation.printed;
    ::unsetenv("CLAUDE_CONFIG_DIR");
    ::unsetenv("CODEX_HOME");
}

} // namespace vostel_companion
