// A system that is short of something, or refuses it.

#include "tests/e2e/Stage.h"

#include <csignal>

namespace vostel_tests {

namespace {

/// The server, started by a shell that has run `before`: with its limits and streams.
ServerProcess::Setting startedAfter(const std::string& before, const std::filesystem::path& home) {
    return {.home = home.native(), .executable = "/bin/sh", .arguments = {"-c", before + "; exec \"$0\"", VOSTEL_MCP}};
}

/// This sanitizer puts itself before what a test wants to put there.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool systemCanBeFaked = false;
#else
constexpr bool systemCanBeFaked = true;
#endif
#else
constexpr bool systemCanBeFaked = true;
#endif

} // namespace

TEST(Scarcity, a_reader_thread_that_cannot_be_started_is_a_failure_of_the_process) {
    if (!systemCanBeFaked) GTEST_SKIP();
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .environment = fakeSystem({"NO_THREADS=1"})}};
    EXPECT_EQ(server.waitForEnd(), (Ending{.exitStatus = 1}));
    EXPECT_EQ(server.errorText(), "vostel-mcp wire protocol v4\n");
    EXPECT_EQ(server.unreadOutput(), "");
}

TEST(Scarcity, an_interrupted_write_loses_nothing_of_the_start_up_line) {
    if (!systemCanBeFaked) GTEST_SKIP();
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .environment = fakeSystem({"INTERRUPTED_WRITES=1"})}};
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
}

TEST(Scarcity, without_standard_output_and_null_device_no_reply_goes_to_the_application) {
    if (!systemCanBeFaked) GTEST_SKIP();
    TemporaryFolder home;
    FakeApplication application{home.path()};
    auto setting = startedAfter("exec 1>&-", home.path());
    setting.environment = fakeSystem({"NO_NULL_DEVICE=1"});
    ServerProcess server{setting};
    server.send(toolsCall("1"));
    ReceivedCall call = application.nextCall();
    for (int time = 0; time < 10; ++time) server.send(ping("2"));
    server.send(toolsCall("3"));
    ReceivedCall next = application.nextCall();
    server.closeInput();
    EXPECT_EQ(call.connection.read(1), "");
    EXPECT_EQ(next.connection.read(1), "");
    EXPECT_EQ(server.waitForEnd(), Ending{});
}

TEST(Scarcity, a_message_that_takes_more_memory_than_there_is_fails_alone) {
    if (sanitized) GTEST_SKIP() << "a sanitizer needs more memory than this test leaves";
    const std::string large = '"' + std::string(60'000'000, 'x') + '"';
    TemporaryFolder home;
    FakeApplication application{home.path()};
    ServerProcess server{startedAfter("ulimit -v 160000", home.path())};
    server.send(toolsCall("1"));
    ReceivedCall waiting = application.nextCall();

    server.send(toolsCall("2"));
    application.nextCall().answer(large);
    EXPECT_EQ(server.line(), internalErrorLine("2", "There is not enough memory for the call and its answer."));

    waiting.answer("{}");
    EXPECT_EQ(server.line(), resultLine("1", "{}"));
    server.send(ping("3"));
    EXPECT_EQ(server.line(), pingReply("3"));
}

} // namespace vostel_tests
