// A system that lacks a resource or refuses it.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

#include <csignal>

namespace vostel_tests {

namespace {

/// A server that a shell starts after it has run `before`, so that it has that shell's limits and streams.
ServerProcess::Setting startedAfter(const std::string& before, const std::filesystem::path& home) {
    return {.home = home.native(), .executable = "/bin/sh", .arguments = {"-c", before + "; exec \"$0\"", serverPath}};
}

constexpr const char* sanitizerIsFirst = "the thread sanitizer intercepts the calls before the simulated system";
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
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .environment = fakeSystem({"NO_THREADS=1"})}};
    EXPECT_EQ(server.waitForEnd(), (Ending{.exitStatus = 1}));
    EXPECT_EQ(server.errorText(), "vostel-mcp wire protocol v4\n");
    EXPECT_EQ(server.unreadOutput(), "");
}

TEST(Scarcity, an_interrupted_write_loses_nothing_of_the_start_up_line) {
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .environment = fakeSystem({"INTERRUPTED_WRITES=1"})}};
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
}

TEST(Scarcity, without_standard_output_no_reply_goes_to_the_application) {
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    TemporaryFolder home;
    FakeApplication application{home.path()};
    auto setting = startedAfter("exec 1>&-", home.path());
    for (const char* missing : {"MISSING=", "MISSING=/dev/null"}) {
        SCOPED_TRACE(missing);
        setting.environment = fakeSystem({missing});
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
}

TEST(Scarcity, a_closed_standard_stream_that_cannot_be_replaced_is_a_failure_of_the_process) {
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    TemporaryFolder home;
    auto setting = startedAfter("exec 1>&-", home.path());
    setting.environment = fakeSystem({"MISSING=/dev/null:/"});
    ServerProcess server{setting};
    EXPECT_EQ(server.waitForEnd(), (Ending{.exitStatus = 1}));
    EXPECT_EQ(server.errorText(), "");
}

TEST(Scarcity, a_refused_system_call_at_the_start_does_not_prevent_serving) {
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    struct Row {
        const char* when;
        const char* fault;
        const char* errorText;
    };
    const char* startUpLine = "vostel-mcp wire protocol v4\n";
    const Row rows[] = {
        {"nothing is known of the standard streams", "UNKNOWN_STREAMS=1", startUpLine},
        {"the limit of descriptors is not known", "UNKNOWN_LIMIT=1", startUpLine},
        {"standard error cannot be written", "BROKEN_ERROR=1", ""},
        {"standard error takes no bytes", "STUCK_ERROR=1", ""},
    };
    forEachRow(rows, [](const Row& row) {
        Stage stage{.environment = fakeSystem({row.fault})};
        stage.server.send(toolsCall("1"));
        stage.application.nextCall().answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
        stage.server.closeInput();
        EXPECT_EQ(stage.server.waitForEnd(), Ending{});
        EXPECT_EQ(stage.server.errorText(), row.errorText);
    });
}

TEST(Scarcity, a_client_that_allows_few_descriptors_may_still_make_many_calls_at_once) {
    constexpr int count = 100;
    TemporaryFolder home;
    FakeApplication application{home.path()};
    ServerProcess server{startedAfter("ulimit -S -n 64", home.path())};
    for (int id = 0; id < count; ++id) server.send(toolsCall(std::to_string(id)));
    std::vector<ReceivedCall> calls;
    for (int id = 0; id < count; ++id) calls.push_back(application.nextCall());
    for (ReceivedCall& call : calls) call.answer("{}");
    for (int id = 0; id < count; ++id) EXPECT_TRUE(nlohmann::json::parse(server.line()).contains("result"));
}

TEST(Scarcity, only_a_message_that_takes_too_much_memory_fails) {
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

TEST(Scarcity, a_signal_ends_a_process_that_cannot_set_a_timer) {
    if (!systemCanBeFaked) GTEST_SKIP() << sanitizerIsFirst;
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .environment = fakeSystem({"NO_TIMERS=1"})}};
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
    server.signal(SIGTERM);
    EXPECT_EQ(server.waitForEnd(), Ending{.signal = SIGTERM});
}

} // namespace vostel_tests
