// docs/kit.md shows a program. The program must equal a source file of ours and answer the real server.
#include "posix/ChildProcess.h"
#include "posix/UnixSocket.h"
#include "tests/e2e/FakeApplication.h"
#include "tests/e2e/Messages.h"
#include "tests/e2e/ServerProcess.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <unistd.h>

namespace vostel_tests {
namespace {

using nlohmann::json;

const std::filesystem::path sources = VOSTEL_SOURCES;

/// Whether an application listens there before the timeout.
bool isServed(const std::filesystem::path& socket) {
    const auto giveUp = std::chrono::steady_clock::now() + timeout();
    while (!posix::UnixSocket::connect(socket)) {
        if (std::chrono::steady_clock::now() > giveUp) return false;
        ::poll(nullptr, 0, 10);
    }
    return true;
}

} // namespace

TEST(KitPage, shows_the_source_of_its_program) {
    const std::string program = readFile(sources / "tests/consumer/answer/main.cpp");
    ASSERT_FALSE(program.empty());
    EXPECT_TRUE(readFile(sources / "docs/kit.md").contains("```cpp\n" + program + "```\n"));
}

TEST(KitPage, its_program_answers_the_server) {
    const TemporaryFolder home;
    const auto program = posix::ChildProcess::start({.executable = ANSWERING_APPLICATION,
                                                     .arguments = {(home / "Library/Application Support").string()},
                                                     .environment = posix::currentEnvironment(),
                                                     .error = STDERR_FILENO});
    ASSERT_TRUE(program);
    ASSERT_TRUE(isServed(socketPath(home.path())));
    ServerProcess server{{.home = home.path()}};

    server.send(R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":{"name":"models_list"}})");
    const json found = json::parse(server.line());
    EXPECT_EQ(found["id"], 1);
    EXPECT_EQ(found["result"]["isError"], false);
    EXPECT_EQ(found["result"]["structuredContent"], json::parse(R"({"models":[]})"));
    EXPECT_TRUE(found["result"]["content"][0]["text"].get<std::string>().contains("No model is installed."));

    server.send(toolsCall("2"));
    EXPECT_EQ(server.line(), resultLine("2", R"({"content":[{"text":"There is no tool named history_list.",)"
                                             R"("type":"text"}],"isError":true})"));
    EXPECT_FALSE(program->hasEnded());
}

} // namespace vostel_tests
