// notifications/progress for the calls whose client asked for them.

#include "tests/e2e/Stage.h"

namespace vostel_tests {

namespace {

std::string progressLine(std::string_view fraction, std::string_view token, std::string_view message = "") {
    return R"({"jsonrpc":"2.0","method":"notifications/progress","params":{)" + std::string{message} +
           R"("progress":)" + std::string{fraction} + R"(,"progressToken":)" + std::string{token} + R"(,"total":1}})";
}

} // namespace

TEST(Progress, a_token_of_any_type_comes_back_as_given) {
    Stage stage;
    for (const char* token :
         {"7", R"("t1")", "1.5", "null", "true", R"(["a",{"b":1}])", R"({"a":null})", R"("é/\"")"}) {
        SCOPED_TRACE(token);
        stage.server.send(toolsCall("1", std::string{R"(,"_meta":{"progressToken":)"} + token + "}"));
        ReceivedCall call = stage.application.nextCall();
        call.connection.write(frame(call.progress("0.5")));
        EXPECT_EQ(stage.server.line(), progressLine("0.5", token));
        call.connection.write(frame(call.progress("1.0")));
        EXPECT_EQ(stage.server.line(), progressLine("1", token));
        call.answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    }
}

TEST(Progress, without_a_token_there_is_only_the_response) {
    Stage stage;
    for (const char* meta :
         {"", R"(,"_meta":{})", R"(,"_meta":null)", R"(,"_meta":"progressToken")", R"(,"progressToken":7)"}) {
        SCOPED_TRACE(meta);
        stage.server.send(toolsCall("1", meta));
        ReceivedCall call = stage.application.nextCall();
        call.connection.write(frame(call.progress("0.5")));
        call.answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    }
}

TEST(Progress, a_message_is_relayed) {
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"_meta":{"progressToken":7})"));
    ReceivedCall call = stage.application.nextCall();
    for (const char* message : {R"("Распознаю…")", "null"}) {
        call.connection.write(frame(R"({"kind":"progress","payload":{"message":)" + std::string{message} +
                                    R"(,"fraction":1e-3,"requestID":")" + call.requestID + R"("}})"));
    }
    EXPECT_EQ(stage.server.line(), progressLine("0.001", "7", R"("message":"Распознаю…",)"));
    EXPECT_EQ(stage.server.line(), progressLine("0.001", "7"));
    call.answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
}

TEST(Progress, reports_of_many_calls_reach_their_own_tokens) {
    constexpr int count = 8;
    Stage stage;
    std::vector<ReceivedCall> calls;
    for (int id = 0; id < count; ++id) {
        stage.server.send(toolsCall(std::to_string(id), R"(,"_meta":{"progressToken":)" + std::to_string(id) + "}"));
        calls.push_back(stage.application.nextCall());
    }
    for (int id = count - 1; id >= 0; --id) {
        ReceivedCall& call = calls[static_cast<std::size_t>(id)];
        call.connection.write(frame(call.progress("0.5")));
        EXPECT_EQ(stage.server.line(), progressLine("0.5", std::to_string(id)));
    }
    for (int id = 0; id < count; ++id) {
        calls[static_cast<std::size_t>(id)].answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine(std::to_string(id), "{}"));
    }
}

TEST(Progress, a_report_for_an_unknown_call_is_dropped) {
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"_meta":{"progressToken":7})"));
    ReceivedCall call = stage.application.nextCall();
    call.connection.write(frame(R"({"kind":"progress","payload":{"requestID":"nobody","fraction":0.5}})"));
    call.answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
}

TEST(Progress, tens_of_thousands_of_reports_keep_their_order) {
    const int count = sanitized ? 2'000 : 20'000;
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"_meta":{"progressToken":7})"));
    ReceivedCall call = stage.application.nextCall();
    // In portions, because the test is client and application at once and must not block on either side.
    constexpr int portion = 500;
    for (int first = 0; first < count; first += portion) {
        std::string frames;
        for (int number = first; number < first + portion; ++number)
            frames += frame(call.progress(std::to_string(number)));
        call.connection.write(frames);
        for (int number = first; number < first + portion; ++number) {
            ASSERT_EQ(stage.server.line(), progressLine(std::to_string(number), "7"));
        }
    }
    call.answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
}

} // namespace vostel_tests
