// notifications/cancelled before, during and after its call.

#include "tests/e2e/Stage.h"

#include <map>
#include <set>

namespace vostel_tests {

using nlohmann::json;

TEST(Cancellation, the_application_is_told_on_a_new_connection_and_the_client_receives_nothing_more) {
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"_meta":{"progressToken":7})"));
    ReceivedCall call = stage.application.nextCall();
    stage.server.send(cancelled("1"));
    ApplicationConnection connection = stage.application.accept();
    EXPECT_EQ(connection.readFrame(),
              R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":")" + call.requestID + R"("}})");
    connection.expectClosedByServer();

    call.connection.write(frame(call.progress("0.5")));
    call.answer("{}");
    call.connection.expectClosedByServer();
    stage.server.expectSilence();
    stage.expectServing();
}

TEST(Cancellation, the_application_is_told_even_when_the_client_leaves_at_once) {
    for (int time = 0; time < 10; ++time) {
        Stage stage;
        stage.server.send(toolsCall("1"));
        const ReceivedCall call = stage.application.nextCall();
        stage.server.send(cancelled("1"));
        stage.server.closeInput();
        EXPECT_EQ(stage.application.nextCancellation().at("requestID"), call.requestID);
    }
}

TEST(Cancellation, a_call_that_fails_after_its_cancellation_is_not_answered) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    stage.server.send(cancelled("1"));
    EXPECT_EQ(stage.application.nextCancellation(), (json{{"protocolVersion", 4}, {"requestID", call.requestID}}));
    call.connection.close();
    stage.server.expectSilence();
    stage.expectServing();
}

TEST(Cancellation, numbers_and_strings_of_the_same_text_name_the_same_call) {
    struct Row {
        const char* called;
        const char* cancelled;
    };
    const Row rows[] = {{"5", "5"}, {R"("5")", "5"}, {"5", R"("5")"}, {"5", "5.0"}, {R"("a b")", R"("a\u0020b")"}};
    Stage stage;
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string{row.called} + " cancelled as " + row.cancelled);
        stage.server.send(toolsCall(row.called));
        ReceivedCall call = stage.application.nextCall();
        stage.server.send(cancelled(row.cancelled));
        EXPECT_EQ(stage.application.nextCancellation().at("requestID"), call.requestID);
        call.answer("{}");
        call.connection.expectClosedByServer();
        stage.server.expectSilence();
    }
}

TEST(Cancellation, one_that_names_no_call_in_flight_is_ignored) {
    Stage stage;
    stage.server.send(toolsCall("5"));
    ReceivedCall call = stage.application.nextCall();
    for (const char* id : {"6", R"("05")", "true", "null", "5.5", "[5]", "{}"}) stage.server.send(cancelled(id));
    stage.server.send(R"({"jsonrpc":"2.0","method":"notifications/cancelled"})");
    stage.server.send(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"id":5}})");
    stage.server.send(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":[5]})");
    stage.expectServing();
    stage.application.expectNobody();
    call.answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("5", "{}"));
}

TEST(Cancellation, one_that_comes_before_its_call_does_not_wait_for_it) {
    Stage stage;
    stage.server.send(cancelled("1"));
    stage.server.send(toolsCall("1"));
    stage.application.nextCall().answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    stage.application.expectNobody();
}

TEST(Cancellation, one_that_comes_after_the_answer_is_not_sent) {
    Stage stage;
    stage.expectServing();
    const std::size_t threads = stage.server.threadCount();
    stage.server.send(toolsCall("1"));
    stage.application.nextCall().answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    // The server removes the call just after it has written the answer, before the call's thread ends.
    EXPECT_TRUE(stage.soon([&] { return stage.server.threadCount() == threads; }));
    stage.server.send(cancelled("1"));
    stage.expectServing();
    stage.application.expectNobody();
}

TEST(Cancellation, only_one_of_many_calls_is_cancelled) {
    Stage stage;
    std::map<int, ReceivedCall> calls;
    for (int id = 0; id < 8; ++id) {
        stage.server.send(toolsCall(std::to_string(id)));
        calls.emplace(id, stage.application.nextCall());
    }
    stage.server.send(cancelled("3"));
    EXPECT_EQ(stage.application.nextCancellation().at("requestID"), calls.at(3).requestID);
    for (auto& [id, call] : calls) {
        call.answer("{}");
        if (id != 3) {
            EXPECT_EQ(stage.server.line(), resultLine(std::to_string(id), "{}"));
        }
    }
    calls.at(3).connection.expectClosedByServer();
    stage.server.expectSilence();
}

TEST(Cancellation, no_cancellation_overtakes_its_call) {
    const int count = sanitized ? 100 : 500;
    Stage stage;
    std::set<std::string> sent;
    // Closing the connection would cause another answer.
    std::vector<ApplicationConnection> open;
    for (int id = 0; id < count; ++id) {
        const std::string number = std::to_string(id);
        const std::string filler(static_cast<std::size_t>(id) * 400, 'x');
        stage.server.send(toolsCall(number, R"(,"arguments":")" + filler + '"') + "\n" + cancelled(number));
        stage.server.send(toolsCall(R"("last")"));
        for (bool answered = false; !answered;) {
            ApplicationConnection connection = stage.application.accept();
            const std::string frame = connection.readFrame();
            // A call that was not sent has no answer.
            if (frame.empty()) continue;
            const json message = json::parse(frame);
            const std::string requestID = message.at("payload").at("requestID");
            if (message.at("kind") == "cancellation") {
                EXPECT_TRUE(sent.contains(requestID)) << id;
            } else if (message.at("payload").at("arguments") == filler) {
                sent.insert(requestID);
                open.push_back(std::move(connection));
            } else {
                ReceivedCall{std::move(connection), requestID, {}}.answer("{}");
                answered = true;
            }
        }
        EXPECT_EQ(stage.server.line(), resultLine(R"("last")", "{}"));
        ASSERT_FALSE(HasFailure()) << id;
    }
    stage.server.expectSilence();
}

TEST(Cancellation, a_client_that_reads_slowly_gets_no_line_that_begins_after_it) {
    // More than a pipe holds, so that most of it waits to be written.
    const std::string text(200'000, 'x');
    const int count = sanitized ? 10 : 50;
    Stage stage;
    for (int time = 0; time < count; ++time) {
        stage.server.send(toolsCall(R"("long")"));
        stage.application.nextCallPastCancellations().answer('"' + text + '"');
        stage.server.expectOutputToBegin();
        // This one line blocks all lines of these calls.
        std::vector<ReceivedCall> calls;
        for (int id = 4 * time; id < 4 * time + 4; ++id) {
            stage.server.send(toolsCall(std::to_string(id), R"(,"_meta":{"progressToken":7})"));
            calls.push_back(stage.application.nextCallPastCancellations());
            std::string frames;
            for (int report = 0; report < 100; ++report) frames += frame(calls.back().progress("0.5"));
            calls.back().connection.write(frames);
            if (id % 2 == 0) calls.back().answer("{}");
        }
        for (int id = 4 * time; id < 4 * time + 4; ++id) stage.server.send(cancelled(std::to_string(id)));
        for (int each = 0; each < 4; ++each) std::ignore = stage.application.nextCancellation();
        EXPECT_TRUE(stage.server.line() == resultLine(R"("long")", '"' + text + '"'));
        stage.expectServing();
    }
    stage.server.expectSilence();
}

TEST(Cancellation, a_race_with_the_answer_leaves_one_answer_or_none) {
    const int count = sanitized ? 100 : 500;
    Stage stage;
    std::vector<std::string> expected;
    for (int id = 0; id < count; ++id) {
        const std::string number = std::to_string(id);
        stage.server.send(toolsCall(number));
        ReceivedCall call = stage.application.nextCallPastCancellations();
        const bool answerFirst = id % 2 == 0;
        if (answerFirst) call.answer(number);
        stage.server.send(cancelled(number));
        if (!answerFirst) call.answer(number);
    }
    stage.server.send(toolsCall(R"("last")"));
    stage.application.nextCallPastCancellations().answer("{}");

    std::map<std::string, int> answers;
    bool last = false;
    while (!last) {
        const std::string line = stage.server.line();
        ASSERT_NE(line, "");
        last = line == resultLine(R"("last")", "{}");
        if (last) break;
        const std::string id = json::parse(line).at("id").dump();
        EXPECT_EQ(line, resultLine(id, id));
        EXPECT_EQ(++answers[id], 1);
    }
    // An answer that came a moment too late may follow the last one.
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
    for (std::size_t start = 0, end = 0; (end = stage.server.unreadOutput().find('\n', start)) != std::string::npos;
         start = end + 1) {
        const std::string id = json::parse(stage.server.unreadOutput().substr(start, end - start)).at("id").dump();
        EXPECT_EQ(++answers[id], 1);
    }
    EXPECT_EQ(stage.server.errorText(), "vostel-mcp wire protocol v4\n");
}

TEST(Cancellation, a_client_that_does_not_read_delays_neither_calls_nor_cancellations) {
    const std::string text(1'048'576, 'x');
    Stage stage;
    stage.server.send(toolsCall("1"));
    stage.application.nextCall().answer('"' + text + '"');
    // From here on the server waits for us to read the larger part of its line.
    stage.server.expectOutputToBegin();

    stage.server.send(toolsCall("2", R"(,"_meta":{"progressToken":7})"));
    ReceivedCall second = stage.application.nextCall();
    second.connection.write(frame(second.progress("0.5")));
    stage.server.send(toolsCall("3"));
    ReceivedCall third = stage.application.nextCall();
    stage.server.send(cancelled("3"));
    EXPECT_EQ(stage.application.nextCancellation().at("requestID"), third.requestID);
    third.answer("{}");
    third.connection.expectClosedByServer();
    for (int id = 10; id < 74; ++id) {
        stage.server.send(toolsCall(std::to_string(id)));
        stage.application.nextCall().answer("{}");
    }

    EXPECT_TRUE(stage.server.line() == resultLine("1", '"' + text + '"'));
    std::vector<std::string> lines;
    for (int index = 0; index < 65; ++index) lines.push_back(stage.server.line());
    for (int id = 10; id < 74; ++id) {
        EXPECT_EQ(std::ranges::count(lines, resultLine(std::to_string(id), "{}")), 1) << id;
    }
    second.answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("2", "{}"));
}

} // namespace vostel_tests
