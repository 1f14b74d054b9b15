// SIGTERM, SIGINT and SIGHUP end the process after it has handled what the client wrote before.

#include "posix/Signals.h"
#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

#include <functional>

namespace vostel_tests {

namespace {

/// A server that starts with the given setting of its signals, an option of the program env.
ServerProcess::Setting startedWith(const std::string& option, const std::filesystem::path& home) {
    return {.home = home.native(), .executable = "/usr/bin/env", .arguments = {option, serverPath}};
}

void expectReply(ServerProcess& server) {
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
}

void expectEndBy(int signal, ServerProcess& server) {
    EXPECT_EQ(server.waitForEnd(), Ending{.signal = signal});
    EXPECT_EQ(server.errorText(), "vostel-mcp wire protocol v4\n");
}

} // namespace

TEST(Termination, a_cancellation_reaches_the_application_even_when_a_signal_follows_at_once) {
    struct Row {
        const char* when;
        std::function<void(ServerProcess&)> leave;
        int ending;
    };
    const Row rows[] = {
        {"SIGTERM", [](ServerProcess& server) { server.signal(SIGTERM); }, SIGTERM},
        {"SIGINT", [](ServerProcess& server) { server.signal(SIGINT); }, SIGINT},
        {"SIGHUP", [](ServerProcess& server) { server.signal(SIGHUP); }, SIGHUP},
        {"the end of the input and SIGTERM",
         [](ServerProcess& server) {
             server.closeInput();
             server.signal(SIGTERM);
         },
         SIGTERM},
        {"SIGINT twice and SIGTERM",
         [](ServerProcess& server) {
             for (const int signal : {SIGINT, SIGINT, SIGTERM}) server.signal(signal);
         },
         /*any*/ 0},
    };
    forEachRow(rows, [](const Row& row) {
        for (int time = 0; time < 20; ++time) {
            Stage stage;
            stage.server.send(toolsCall("1"));
            const ReceivedCall call = stage.application.nextCall();
            stage.server.send(cancelled("1"));
            row.leave(stage.server);
            const Ending ending = stage.server.waitForEnd();
            EXPECT_TRUE(stage.application.hasCancellation(call.requestID)) << time;
            EXPECT_EQ(ending.exitStatus, 0);
            // The end of the input may come first.
            EXPECT_TRUE(row.ending == 0 || ending.signal == row.ending) << ending.signal;
            ASSERT_FALSE(testing::Test::HasFailure());
        }
    });
}

TEST(Termination, a_signal_ends_the_process_while_its_input_is_open) {
    for (const int signal : posix::terminationSignals) {
        for (const bool nonBlocking : {false, true}) {
            TemporaryFolder home;
            ServerProcess server{{.home = home.path(), .streamsAreNonBlockingSockets = nonBlocking}};
            expectReply(server);
            server.signal(signal);
            expectEndBy(signal, server);
        }
    }
}

TEST(Termination, the_lines_before_a_signal_are_answered) {
    Stage stage;
    stage.expectServing();
    std::string replies;
    for (int id = 0; id < 100; ++id) {
        stage.server.send(ping(std::to_string(id)));
        replies += pingReply(std::to_string(id)) + "\n";
    }
    stage.server.signal(SIGTERM);
    expectEndBy(SIGTERM, stage.server);
    EXPECT_EQ(stage.server.unreadOutput(), replies);
}

TEST(Termination, calls_that_run_are_neither_awaited_nor_answered_nor_cancelled) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    stage.server.signal(SIGTERM);
    expectEndBy(SIGTERM, stage.server);
    EXPECT_EQ(stage.server.unreadOutput(), "");
    EXPECT_EQ(call.connection.read(1), "");
    EXPECT_FALSE(stage.application.hasCancellation(call.requestID));
}

TEST(Termination, an_application_that_accepts_nothing_does_not_prevent_the_end) {
    TemporaryFolder home;
    const FakeApplication application{home.path(), /*backlog=*/0};
    ServerProcess server{{.home = home.path()}};
    for (int id = 0; id < 12; ++id) server.send(toolsCall(std::to_string(id)));
    for (int id = 0; id < 12; ++id) server.send(cancelled(std::to_string(id)));
    expectReply(server);
    server.signal(SIGTERM);
    expectEndBy(SIGTERM, server);
}

TEST(Termination, a_client_that_does_not_read_does_not_prevent_the_end) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    expectReply(server);
    // More replies than the pipe takes.
    for (int id = 0; id < 5000; ++id) server.send(ping("1"));
    server.expectOutputToBegin();
    server.signal(SIGTERM);
    EXPECT_TRUE(Stage::soonInSilence([&] { return server.hasEnded(); }));
    expectEndBy(SIGTERM, server);
}

TEST(Termination, a_signal_that_was_ignored_at_the_start_stays_ignored) {
    for (const int signal : posix::terminationSignals) {
        TemporaryFolder home;
        ServerProcess server{startedWith("--ignore-signal=" + std::to_string(signal), home.path())};
        expectReply(server);
        server.signal(signal);
        server.expectSilence();
        expectReply(server);
    }
}

TEST(Termination, a_signal_that_was_blocked_at_the_start_ends_the_process) {
    for (const int signal : posix::terminationSignals) {
        TemporaryFolder home;
        ServerProcess server{startedWith("--block-signal", home.path())};
        expectReply(server);
        server.signal(signal);
        expectEndBy(signal, server);
    }
}

TEST(Termination, an_alarm_that_was_set_before_the_start_ends_the_process) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    expectReply(server);
    server.signal(SIGALRM);
    expectEndBy(SIGALRM, server);
}

} // namespace vostel_tests
