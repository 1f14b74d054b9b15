// How the process ends: with its input, or with its output.

#include "tests/e2e/Stage.h"

#include <csignal>

namespace vostel_tests {

TEST(End, TheEndOfInputEndsTheProcess) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    server.send(ping("1"));
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_EQ(server.unreadOutput(), pingReply("1") + "\n");
}

TEST(End, ALastLineWithoutItsLineFeedNeverArrived) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    server.write(ping("1"));
    server.closeInput();
    EXPECT_EQ(server.waitForEnd(), Ending{});
    EXPECT_EQ(server.unreadOutput(), "");
}

TEST(End, CallsThatRunAreNeitherAwaitedNorAnsweredNorCancelled) {
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

TEST(End, TheEndComesAtOnceWhileALongAnswerArrives) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    call.connection.write(framed(call.response('"' + std::string(1'048'576, 'x') + '"')).substr(0, 500'000));
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
    EXPECT_EQ(stage.server.unreadOutput(), "");
}

TEST(End, WritingToAClientThatIsGoneEndsTheProcessByTheBrokenPipeSignal) {
    Stage stage;
    stage.expectServing();
    stage.server.closeOutput();
    stage.server.send(ping("1"));
    EXPECT_EQ(stage.server.waitForEnd(), Ending{.signal = SIGPIPE});
}

TEST(End, TheAnswerToACallEndsItTheSameWay) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    stage.server.closeOutput();
    call.answer("{}");
    EXPECT_EQ(stage.server.waitForEnd(), Ending{.signal = SIGPIPE});
}

} // namespace vostel_tests
