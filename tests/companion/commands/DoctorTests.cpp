// `Vostel doctor` with healthy and broken installations. Tests of a single check run it in this process.
#include "companion/commands/DoctorVerb.h"
#include "companion/configs/ClientConfigs.h"
#include "companion/store/Schema.h"
#include "companion/support/Paths.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/connect/MCPConnectLogic.h"
#include "posix/FileDescriptor.h"
#include "tests/companion/support/Program.h"
#include "tests/support/Files.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <gtest/gtest.h>
#include <map>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#ifdef __linux__
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#endif

namespace vostel_companion {

using vostel_tests::Program;
using vostel_tests::writeFile;

namespace {

const std::filesystem::path bundle = VOSTEL_BUNDLE;

/// A separate installation, with all clients connected.
struct Installation {
    vostel_tests::TemporaryFolder home;
    Paths paths = Paths::in(home.path() / "Library/Application Support");

    Installation() { EXPECT_EQ(vostel({"clients", "install", "claude-code", "claude-desktop", "codex"}), 0); }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
    /// Ends the application that the doctor's call has started.
    ~Installation() { vostel({"quit"}); }

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

/// A doctor in this process. Its server ends at once, so the test call always fails and starts no application.
struct Examined {
    vostel_tests::TemporaryFolder home;
    std::filesystem::path support = home.path() / "Library/Application Support";
    Paths paths = Paths::in(support);
    std::map<std::string, std::string> environment;
    std::string printed;
    DoctorContext context{.support = support,
                          .home = home.path(),
                          .helper = home.path() / "bundle/vostel-mcp",
                          .systemModel = home.path() / "no model",
                          .downloaderPath = "",
                          .environmentVariable = [this](const char* name) -> std::optional<std::string> {
                              const auto found = environment.find(name);
                              return found != environment.end() ? std::optional{found->second} : std::nullopt;
                          },
                          .print =
                              [this](std::string_view text) {
                                  printed += text;
                                  return true;
                              },
                          // The answers in these tests never come.
                          .answerTimeout = std::chrono::milliseconds{50}};

    Examined() {
        writeProgram("bundle/vostel-mcp");
        std::filesystem::create_directories(paths.folder);
        std::filesystem::permissions(paths.folder, std::filesystem::perms::owner_all);
    }
    Examined(const Examined&) = delete;
    Examined& operator=(const Examined&) = delete;

    std::string writeProgram(const std::string& path) const {
        const std::string whole = home.write(path, "#!/bin/sh\n");
        std::filesystem::permissions(whole, std::filesystem::perms::owner_all);
        return whole;
    }
    /// Whether the doctor prints `line`, which begins with its mark.
    testing::AssertionResult prints(const std::string& line) {
        printed.clear();
        EXPECT_EQ(run(Command::Doctor{}, context), Exit::refused) << "its call fails";
        if (("\n" + printed).contains("\n" + line + "\n")) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "not printed: " << line << "\n" << printed;
    }
};

/// A socket at Vostel's path. Connections wait in its backlog, and nobody answers.
struct Socket {
    std::string path;
    posix::FileDescriptor listening{::socket(AF_UNIX, SOCK_STREAM, 0)};

    explicit Socket(const Examined& examined) : path{VostelMCPKit::MCPConnectLogic::socketPath(examined.support)} {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listening.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    void listen() const { EXPECT_EQ(::listen(listening.get(), 8), 0); }
};

#ifdef __linux__
/// From now on, each connection of this thread and its children fails with EPERM, as in a strict sandbox.
bool forbidConnections() {
    std::array<sock_filter, 4> filter = {{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_connect, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{filter.size(), filter.data()};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}
#endif

} // namespace

TEST(Doctor, a_healthy_installation_has_no_problem) {
    Installation installation;
    EXPECT_EQ(installation.vostel({"doctor"}), 0) << installation.printed;
    EXPECT_TRUE(installation.printed.contains("note   Vostel is not running. The first call starts it.\n"));
    EXPECT_TRUE(installation.printed.contains("ok     A call through vostel-mcp was answered after "))
        << installation.printed;
    // Now it runs, because of the call.
    EXPECT_EQ(installation.vostel({"doctor"}), 0) << installation.printed;
    for (const char* line : {
             "ok     The data folder ",
             "ok     The database is intact.\n",
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
    EXPECT_TRUE(installation.complains("The data folder '" + paths.folder.string() +
                                       "' is writable by other users. Check what is in it, then run: chmod 700 '" +
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
        "Claude Code starts '/gone/vostel-mcp', which does not exist. Run: Vostel clients install claude-code\n"));
    EXPECT_TRUE(installation.printed.contains(
        "WRONG  Codex / ChatGPT desktop gives up a call after at most 300 seconds, and an hour of speech takes longer. "
        "Write tool_timeout_sec = 3600 under [mcp_servers.vostel] in '" +
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
                                       "', because an environment variable says so. It starts "
                                       "'/old/vostel-mcp', which does not exist. Correct the command by hand to '" +
                                       (bundle / "vostel-mcp").string() + "'.\n"));
    EXPECT_TRUE(installation.printed.contains("note   Codex / ChatGPT desktop reads '" +
                                              (moved / "config.toml").string() +
                                              "', because an environment variable says so. It is not connected."))
        << installation.printed;
    ::unsetenv("CLAUDE_CONFIG_DIR");
    ::unsetenv("CODEX_HOME");
}

TEST(Doctor, says_that_the_application_does_not_answer) {
    Examined examined;
    const Socket silent{examined};
    silent.listen();
    EXPECT_TRUE(examined.prints("WRONG  Vostel runs but does not answer. End the program that listens at its socket."));
    writeFile(examined.paths.folder / "Vostel.pid", "4711\n");
    EXPECT_TRUE(examined.prints("WRONG  Vostel runs but does not answer. Run: kill 4711"));
}

TEST(Doctor, says_that_another_program_answers_at_the_socket) {
    struct Row {
        const char* when;
        std::string answer;
    };
    const Row rows[] = {
        {"another protocol", "HTTP/1.1 400 Bad Request\r\n\r\n"},
        {"a frame that is not JSON", std::string{"\0\0\0\2{]", 6}},
        {"a frame of another kind", std::string{"\0\0\0\2{}", 6}},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        Examined examined;
        const Socket socket{examined};
        socket.listen();
        std::thread program{[&] {
            const posix::FileDescriptor connection{::accept(socket.listening.get(), nullptr, nullptr)};
            char received = 0;
            EXPECT_EQ(::recv(connection.get(), &received, 1, 0), 1);
            EXPECT_EQ(::send(connection.get(), row.answer.data(), row.answer.size(), 0),
                      static_cast<ssize_t>(row.answer.size()));
            // Until the doctor has read the answer.
            while (::recv(connection.get(), &received, 1, 0) == 1) {}
        }};
        examined.context.answerTimeout = std::chrono::seconds{30};
        EXPECT_TRUE(
            examined.prints("WRONG  The program at the socket speaks another protocol. Update Vostel. If the program "
                            "is not Vostel, end it."));
        program.join();
    });
}

TEST(Doctor, says_that_the_socket_belongs_to_another_user) {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can become another user";
    Examined examined;
    const Socket socket{examined};
    const pid_t child = ::fork();
    if (child == 0) {
        // The user who listens is the peer.
        const bool isReady = ::setuid(65534) == 0 && ::listen(socket.listening.get(), 8) == 0;
        ::_exit(isReady ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
    EXPECT_TRUE(examined.prints("WRONG  The program at the socket '" + socket.path +
                                "' belongs to another user. Do not use it; ask that user to end it."));
}

TEST(Doctor, says_that_a_sandbox_forbids_sockets) {
#ifdef __linux__
    Examined examined;
    const Socket socket{examined};
    socket.listen();
    bool isForbidden = false;
    std::thread sandbox{[&] {
        isForbidden = forbidConnections();
        if (!isForbidden) return;
        EXPECT_TRUE(examined.prints("WRONG  This process may not connect to '" + socket.path +
                                    "' (Operation not permitted). If a sandbox forbids sockets, allow vostel-mcp to "
                                    "run outside of it."));
    }};
    sandbox.join();
    if (!isForbidden) GTEST_SKIP() << "this machine allows no filter of system calls";
#else
    GTEST_SKIP() << "only Linux filters system calls";
#endif
}

TEST(Doctor, says_what_is_wrong_with_the_folder) {
    struct Row {
        const char* when;
        void (*prepare)(const std::filesystem::path& folder);
        const char* sentence;
    };
    using std::filesystem::perms;
    const Row rows[] = {
        {"it is private", [](const std::filesystem::path&) {}, "ok     The data folder F is private."},
        {"it does not exist", [](const std::filesystem::path& folder) { std::filesystem::remove(folder); },
         "note   The data folder F does not exist. The first start creates it."},
        {"its group may write",
         [](const std::filesystem::path& folder) {
             std::filesystem::permissions(folder, perms::owner_all | perms::group_write);
         },
         "WRONG  The data folder F is writable by other users. Check what is in it, then run: chmod 700 F"},
        {"it is closed",
         [](const std::filesystem::path& folder) { std::filesystem::permissions(folder, perms::owner_read); },
         "WRONG  The data folder F is not fully accessible to you. Run: chmod 700 F"},
        {"it is a file",
         [](const std::filesystem::path& folder) {
             std::filesystem::remove(folder);
             writeFile(folder, "");
         },
         "WRONG  The data folder F is not a folder. Move it away; Vostel creates the folder."},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        Examined examined;
        const std::string folder = "'" + examined.paths.folder.string() + "'";
        row.prepare(examined.paths.folder);
        std::string line = row.sentence;
        for (std::size_t at = 0; (at = line.find(" F", at)) != std::string::npos;) line.replace(at + 1, 1, folder);
        EXPECT_TRUE(examined.prints(line));
        std::error_code ignored;
        std::filesystem::permissions(examined.paths.folder, perms::owner_all, ignored);
    });
}

TEST(Doctor, says_which_other_server_a_client_starts) {
    Examined examined;
    const std::string other = examined.writeProgram("other/vostel-mcp");
    const std::string code = examined.home.path() / ".claude.json";
    writeFile(code, R"({"mcpServers":{"vostel":{"command":")" + other + R"("}}})");
    EXPECT_TRUE(examined.prints("WRONG  Claude Code starts '" + other +
                                "', which is another copy. Run: Vostel clients install claude-code"));
    std::filesystem::remove(other);
    EXPECT_TRUE(examined.prints("WRONG  Claude Code starts '" + other +
                                "', which does not exist. Run: Vostel clients install claude-code"));

    const std::string helper = examined.context.helper.string();
    const VostelMCPKit::MCPClientConfigLogic::MCPClientEntry ours{helper, {}};
    writeFile(examined.home.path() / "Library/Application Support/Claude/Claude Extensions/vostel/manifest.json",
              VostelMCPKit::MCPClientConfigLogic::claudeDesktopManifestText(ours));
    EXPECT_TRUE(examined.prints("WRONG  Claude Desktop has an entry of an older form, which it may refuse. Run: Vostel "
                                "clients install claude-desktop"));
    EXPECT_TRUE(examined.prints("note   Codex / ChatGPT desktop is not connected. Run: Vostel clients install codex"));

    writeFile(code, R"({"mcpServers":{"vostel":{"command":")" + helper + R"("}}})");
    EXPECT_TRUE(examined.prints("ok     Claude Code is connected."));
    std::filesystem::remove(helper);
    EXPECT_TRUE(
        examined.prints("WRONG  Claude Code starts '" + helper + "', which does not exist. Install Vostel again."));
}

TEST(Doctor, reads_the_files_that_the_clients_environment_variables_name) {
    Examined examined;
    const std::string helper = examined.context.helper.string();
    examined.environment = {{"CLAUDE_CONFIG_DIR", examined.home.path() / "claude"},
                            {"CODEX_HOME", examined.home.path() / "codex"}};
    writeFile(examined.home.path() / "claude/.claude.json",
              R"({"mcpServers":{"vostel":{"command":")" + helper + R"("}}})");
    writeFile(examined.home.path() / "codex/config.toml", "[mcp_servers.vostel]\ncommand = \"" + helper + "\"\n");
    EXPECT_TRUE(examined.prints("ok     Claude Code reads '" + (examined.home.path() / "claude/.claude.json").string() +
                                "', because an environment variable says so. It is connected."));
    EXPECT_TRUE(examined.printed.contains("WRONG  Codex / ChatGPT desktop reads '" +
                                          (examined.home.path() / "codex/config.toml").string() +
                                          "', because an environment variable says so. It gives up a call after "
                                          "at most 300 seconds"))
        << examined.printed;
    // An empty variable counts as none.
    examined.environment = {{"CLAUDE_CONFIG_DIR", ""}, {"CODEX_HOME", ""}};
    EXPECT_TRUE(examined.prints("note   Claude Code is not connected. Run: Vostel clients install claude-code"));
}

TEST(Doctor, says_what_is_missing_on_the_machine) {
    Examined examined;
    EXPECT_TRUE(examined.prints("WRONG  There is no English speech model in '" +
                                (examined.home.path() / "no model").string() +
                                "'. Install the package with PocketSphinx's model en-us."));
    EXPECT_TRUE(examined.prints("note   yt-dlp is not installed, so links cannot be transcribed. Files can."));
    EXPECT_TRUE(examined.prints("note   There is no database yet. The first start creates it."));
    EXPECT_TRUE(examined.prints("note   Vostel is not running. The first call starts it."));
    EXPECT_TRUE(examined.prints("WRONG  A call through vostel-mcp got no answer. See '" +
                                examined.paths.log().string() + "'."));
    std::filesystem::remove(examined.context.helper);
    EXPECT_TRUE(examined.prints("WRONG  The server '" + examined.context.helper.string() +
                                "' could not be started (No such file or directory). Install Vostel again."));
    examined.context.downloaderPath = examined.home.path() / "bin";
    const std::string downloader = examined.writeProgram("bin/yt-dlp");
    EXPECT_TRUE(examined.prints("ok     Links are downloaded with '" + downloader + "'."));
}

} // namespace vostel_companion
