// The process ends when its input ends or when its output is closed.

#include "tests/e2e/Stage.h"

#include <csignal>

namespace vostel_tests {

TEST(End, the_end_of_input_ends_the_process) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    server.send(ping("1"));
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_EQ(server.unreadOutput(), pingReply("1") + "\n");
}

TEST(End, a_last_line_without_its_line_feed_is_ignored) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    server.write(ping("1"));
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_EQ(server.unreadOutput(), "");
}

TEST(End, calls_that_run_are_neither_awaited_nor_answered_nor_cancelled) {
    Stage stage;
    std::vector<ReceivedCall> calls;
    for (int id = 0; id < 8; ++id) {
        stage.server.send(toolsCall(std::to_string(id)));
        calls.push_back(stage.application.nextCall());
    }
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
    EXPECT_EQ(stage.server.unreadOutput(), "");
    for (ReceivedCall& call : calls) EXPECT_EQ(call.connection.read(1), "");
    stage.application.expectNobody();
}

TEST(End, the_process_ends_at_once_while_a_long_answer_arrives) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    call.connection.write(frame(call.response('"' + std::string(1'048'576, 'x') + '"')).substr(0, 500'000));
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
    EXPECT_EQ(stage.server.unreadOutput(), "");
}

TEST(End, writing_to_a_closed_output_ends_the_process_by_the_broken_pipe_signal) {
    Stage stage;
    stage.expectServing();
    stage.server.closeOutput();
    stage.server.send(ping("1"));
    EXPECT_EQ(stage.server.waitForEnd(), Ending{.signal = SIGPIPE});
}

TEST(End, the_answer_to_a_call_ends_it_in_the_same_way) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    stage.server.closeOutput();
    call.answer("{}");
    EXPECT_EQ(stage.server.waitForEnd(), Ending{.signal = SIGPIPE});
}

} // namespace vostel_tests
