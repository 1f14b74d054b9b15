// An application that hangs: it accepts no connections or reads none. Only calls may wait for it.

#include "tests/e2e/Stage.h"

namespace vostel_tests {

namespace {

/// An application that listens and accepts nothing. Calls are sent until no more of them can connect.
struct HungStage {
    explicit HungStage(int backlog) : application{home.path(), backlog} {
        for (int id = 0; id < backlog + 12; ++id) server.send(toolsCall(std::to_string(id)));
    }

    void expectServing(const std::string& id) {
        server.send(ping(id));
        EXPECT_EQ(server.line(), pingReply(id));
    }

    TemporaryFolder home;
    FakeApplication application;
    ServerProcess server{{.home = home.path()}};
};

} // namespace

TEST(HungApplication, cancellations_delay_neither_replies_nor_the_end) {
    for (const int backlog : {0, 1, 128}) {
        SCOPED_TRACE(backlog);
        HungStage stage{backlog};
        stage.expectServing(R"("before")");
        for (int id = 0; id < backlog + 12; ++id) stage.server.send(cancelled(std::to_string(id)));
        stage.expectServing(R"("after")");
        stage.server.closeInput();
        EXPECT_EQ(stage.server.waitForEnd(), Ending{});
        EXPECT_EQ(stage.server.unreadOutput(), "");
    }
}

TEST(HungApplication, the_process_ends_while_a_long_request_is_being_written) {
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"arguments":")" + std::string(4'194'304, 'x') + '"'));
    const ApplicationConnection hung = stage.application.accept();
    stage.server.send(cancelled("1"));
    stage.expectServing();
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
    stage.application.expectNobody();
}

TEST(HungApplication, one_that_accepts_again_gets_the_cancellations) {
    TemporaryFolder home;
    FakeApplication application{home.path(), /*backlog=*/0};
    ServerProcess server{{.home = home.path()}};
    server.send(toolsCall("1"));
    ReceivedCall first = application.nextCall();
    server.send(toolsCall("2"));
    // The call is in the backlog before the cancellation, and fills it.
    application.expectSomebody();
    server.send(cancelled("1"));
    server.send(ping("3"));
    EXPECT_EQ(server.line(), pingReply("3"));
    ReceivedCall second = application.nextCall();
    EXPECT_EQ(application.nextCancellation().at("requestID"), first.requestID);
    second.answer("{}");
    EXPECT_EQ(server.line(), resultLine("2", "{}"));
}

} // namespace vostel_tests
