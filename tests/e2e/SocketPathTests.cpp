// Where the server looks for the application.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

namespace vostel_tests {

using nlohmann::json;

namespace {

/// A home folder below `base` whose socket's path has this many bytes.
std::filesystem::path homeWithSocketPathOf(std::size_t bytes, const std::filesystem::path& base) {
    const std::size_t rest = bytes - socketPath(base / "x").native().size() + 1;
    return base / std::string(rest, 'h');
}

std::string tooLong(const std::filesystem::path& home) {
    const std::string path = socketPath(home);
    return "Vostel MCP socket path '" + path + "' is " + std::to_string(path.size()) +
           " bytes, over the 103-byte sun_path limit. Shorten your macOS username or home directory path.";
}

/// Variables that give the server a password database in which every home folder is `home`.
std::vector<std::string> passwordDatabase(const std::filesystem::path& home) {
    return fakeSystem({"FAKE_HOME=" + home.native()});
}

} // namespace

TEST(SocketPath, one_of_103_bytes_is_reached) {
    TemporaryFolder folder;
    const auto home = homeWithSocketPathOf(103, folder.path());
    ASSERT_EQ(socketPath(home).native().size(), 103U);
    FakeApplication application{home};
    ServerProcess server{{.home = home}};
    server.send(toolsCall("1"));
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("1", "{}"));
}

TEST(SocketPath, a_longer_one_fails_every_call_and_nothing_else) {
    TemporaryFolder folder;
    const std::filesystem::path homes[] = {homeWithSocketPathOf(104, folder.path()), "/" + std::string(199, 'x'),
                                           // 25 characters, 50 bytes.
                                           "/home/ééééééééééééééééééééééééééé"};
    for (const auto& home : homes) {
        SCOPED_TRACE(home);
        ServerProcess server{{.home = home}};
        server.send(R"({"jsonrpc":"2.0","id":1,"method":"initialize"})");
        EXPECT_TRUE(json::parse(server.line()).contains("result"));
        for (const char* id : {"2", "3"}) {
            server.send(toolsCall(id));
            EXPECT_EQ(server.line(), internalErrorLine(id, tooLong(home)));
        }
        server.send(cancelled("2"));
        server.send(R"({"jsonrpc":"2.0","id":4,"method":"tools/list"})");
        EXPECT_EQ(json::parse(server.line()).at("result").at("tools").size(), 12U);
    }
}

TEST(SocketPath, a_home_folder_whose_name_is_not_UTF_8_reaches_the_client_as_text) {
    const std::string rest(199, 'x');
    ServerProcess server{{.home = "/\xFF\xC3" + rest}};
    server.send(toolsCall("1"));
    const std::string shown = "/\uFFFD\uFFFD" + rest + "/Library/Application Support/com.vostel.vostel/mcp.sock";
    EXPECT_EQ(server.line(), internalErrorLine("1", "Vostel MCP socket path '" + shown +
                                                        "' is 257 bytes, over the 103-byte sun_path limit. Shorten "
                                                        "your macOS username or home directory path."));
}

TEST(SocketPath, without_an_absolute_HOME_the_password_database_decides) {
    struct Row {
        const char* when;
        std::optional<std::string> home;
    };
    const Row rows[] = {{"unset", std::nullopt}, {"empty", ""}, {"relative", "elsewhere"}, {"with a tilde", "~"}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        TemporaryFolder home;
        FakeApplication application{home.path()};
        ServerProcess server{{.home = row.home, .environment = passwordDatabase(home.path())}};
        server.send(toolsCall("1"));
        application.nextCall().answer("{}");
        EXPECT_EQ(server.line(), resultLine("1", "{}"));
    });
}

TEST(SocketPath, an_absolute_HOME_wins_over_the_password_database) {
    TemporaryFolder home;
    TemporaryFolder other;
    FakeApplication application{home.path()};
    ServerProcess server{{.home = home.path(), .environment = passwordDatabase(other.path())}};
    server.send(toolsCall("1"));
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("1", "{}"));
}

} // namespace vostel_tests
