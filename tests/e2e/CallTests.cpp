// tools/call: from the client's line to the application's frame and back.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

#include <algorithm>

namespace vostel_tests {

using nlohmann::json;

namespace {

bool isUpperCaseUUID(const std::string& text) {
    if (text.size() != 36) return false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool hyphen = index == 8 || index == 13 || index == 18 || index == 23;
        const char character = text[index];
        if (hyphen ? character != '-' : !(std::isdigit(character) || (character >= 'A' && character <= 'F'))) {
            return false;
        }
    }
    return true;
}

} // namespace

TEST(Call, the_request_is_one_exact_frame_and_the_result_is_not_read) {
    Stage stage;
    stage.server.send(
        R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":)"
        R"({"name":"transcribe_file","arguments":{"path":"/a/b.m4a","language":"ru","A10":1.0,"a2":[]}}})");
    ApplicationConnection connection = stage.application.accept();
    const std::string before =
        R"({"kind":"request","payload":{"arguments":{"a2":[],"A10":1,"language":"ru","path":"/a/b.m4a"},)"
        R"("clientInfo":{"name":"unknown client"},"protocolVersion":4,"requestID":")";
    const std::string after = R"(","tool":"transcribe_file"}})";
    EXPECT_EQ(connection.read(4),
              (std::string{'\0', '\0', '\0', static_cast<char>(before.size() + 36 + after.size())}));
    EXPECT_EQ(connection.read(before.size()), before);
    const std::string wireID = connection.read(36);
    EXPECT_TRUE(isUpperCaseUUID(wireID)) << wireID;
    EXPECT_EQ(connection.read(after.size()), after);

    const std::string result =
        R"({"anything":[null,true,1.5,"/ и é"],"content":[{"text":"words","type":"text"}],"isError":false})";
    connection.write(frame(R"({"payload":{"result":)" + result + R"(,"requestID":")" + wireID +
                           R"("},"unknown":1,"kind":"response"})"));
    EXPECT_EQ(stage.server.line(), resultLine("1", result));
    connection.expectClosedByServer();
}

TEST(Call, arguments_reach_the_application_as_given) {
    struct Row {
        const char* when;
        const char* params;
        const char* arguments;
    };
    const Row rows[] = {
        {"none", "", "{}"},
        {"null", R"(,"arguments":null)", "null"},
        {"no object", R"(,"arguments":["a",1])", R"(["a",1])"},
        {"with white space and escapes", R"(,"arguments" : { "b" : "\u00e9\/\n" , "a" : 1e3 })",
         "{\"a\":1000,\"b\":\"é/\\n\"}"},
        {"numbers at the edges", R"(,"arguments":[9223372036854775807,9223372036854775808,1e-7])",
         R"([9223372036854775807,9.223372036854775808e18,1e-07])"},
    };
    Stage stage;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        stage.server.send(toolsCall("1", row.params));
        ReceivedCall call = stage.application.nextCall();
        EXPECT_EQ(call.request.at("arguments"), json::parse(row.arguments));
        EXPECT_EQ(call.request.at("tool"), "history_list");
        call.answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    });
}

TEST(Call, ten_megabytes_of_arguments_arrive_unchanged) {
    Stage stage;
    const std::string argument(10'000'000, 'x');
    stage.server.send(toolsCall("1", R"(,"arguments":{"text":")" + argument + R"("})"));
    ApplicationConnection connection = stage.application.accept();
    EXPECT_TRUE(connection.readFrame().starts_with(R"({"kind":"request","payload":{"arguments":{"text":")" + argument +
                                                   R"("},"clientInfo":)"));
    connection.write(frame(R"({"kind":"response","payload":{"requestID":"","result":{}}})"));
    EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
}

TEST(Call, any_depth_of_nesting_passes_both_ways) {
    constexpr std::size_t depth = 200'000;
    const std::string nested = std::string(depth, '[') + std::string(depth, ']');
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"arguments":)" + nested));
    ApplicationConnection connection = stage.application.accept();
    const std::string request = connection.readFrame();
    EXPECT_TRUE(request.starts_with(R"({"kind":"request","payload":{"arguments":)" + nested + R"(,"clientInfo")"));
    connection.write(frame(R"({"kind":"response","payload":{"requestID":"","result":)" + nested + "}}"));
    EXPECT_TRUE(stage.server.line() == resultLine("1", nested));
    stage.expectServing();
}

TEST(Call, the_last_initialize_that_names_a_client_gives_the_identity) {
    struct Row {
        const char* when;
        const char* params;
        const char* clientInfo;
    };
    const Row rows[] = {
        {"before any", nullptr, R"({"name":"unknown client"})"},
        {"the first", R"({"clientInfo":{"name":"first","version":"1"}})", R"({"name":"first","version":"1"})"},
        {"one without a client", R"({"protocolVersion":"2025-06-18"})", R"({"name":"first","version":"1"})"},
        {"one whose client has no name", R"({"clientInfo":{"version":"2"}})", R"({"name":"first","version":"1"})"},
        {"the second, whose version is a number", R"({"clientInfo":{"name":"second","version":2}})",
         R"({"name":"second"})"},
    };
    Stage stage;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        if (row.params != nullptr) {
            stage.server.send(std::string{R"({"jsonrpc":"2.0","id":0,"method":"initialize","params":)"} + row.params +
                              "}");
            EXPECT_TRUE(json::parse(stage.server.line()).contains("result"));
        }
        stage.server.send(toolsCall("1"));
        ReceivedCall call = stage.application.nextCall();
        EXPECT_EQ(call.request.at("clientInfo"), json::parse(row.clientInfo));
        call.answer("{}");
        EXPECT_EQ(stage.server.line(), resultLine("1", "{}"));
    });
}

TEST(Call, calls_in_flight_are_answered_as_they_finish) {
    constexpr int count = 64;
    Stage stage;
    for (int id = 0; id < count; ++id) {
        stage.server.send(toolsCall(std::to_string(id), R"(,"arguments":)" + std::to_string(id)));
    }
    std::vector<ReceivedCall> calls;
    for (int index = 0; index < count; ++index) calls.push_back(stage.application.nextCall());
    stage.expectServing();

    // In an order that is neither that of the requests nor that of the connections.
    std::ranges::sort(calls, {},
                      [](const ReceivedCall& call) { return call.request.at("arguments").get<int>() * 37 % 64; });
    for (ReceivedCall& call : calls) {
        const auto id = call.request.at("arguments").dump();
        call.answer(id);
        EXPECT_EQ(stage.server.line(), resultLine(id, id));
    }
}

TEST(Call, long_results_of_many_calls_at_once_are_whole_lines) {
    constexpr int count = 16;
    const std::string text(300'000, 'x');
    Stage stage;
    for (int id = 0; id < count; ++id) {
        stage.server.send(toolsCall(std::to_string(id), R"(,"arguments":)" + std::to_string(id)));
    }
    std::vector<ReceivedCall> calls;
    for (int index = 0; index < count; ++index) calls.push_back(stage.application.nextCall());
    for (ReceivedCall& call : calls) call.answer('"' + call.request.at("arguments").dump() + text + '"');
    std::vector<std::string> lines;
    std::vector<std::string> expected;
    for (int id = 0; id < count; ++id) {
        lines.push_back(stage.server.line());
        expected.push_back(resultLine(std::to_string(id), '"' + std::to_string(id) + text + '"'));
    }
    std::ranges::sort(lines);
    std::ranges::sort(expected);
    EXPECT_TRUE(lines == expected);
}

TEST(Call, more_calls_than_the_application_accepts_at_once_wait) {
    constexpr int count = 64;
    TemporaryFolder home;
    FakeApplication application{home.path(), /*backlog=*/1};
    ServerProcess server{{.home = home.path()}};
    for (int id = 0; id < count; ++id) server.send(toolsCall(std::to_string(id)));
    for (int index = 0; index < count; ++index) {
        ReceivedCall call = application.nextCall();
        call.answer("{}");
        EXPECT_TRUE(json::parse(server.line()).contains("result"));
    }
}

TEST(Call, a_thousand_calls_wait_at_once) {
    const int count = sanitized ? 200 : 1000;
    Stage stage;
    for (int id = 0; id < count; ++id) stage.server.send(toolsCall(std::to_string(id)));
    std::vector<ReceivedCall> calls;
    for (int index = 0; index < count; ++index) calls.push_back(stage.application.nextCall());
    for (ReceivedCall& call : calls) call.answer("{}");
    std::vector<int> answered;
    for (int index = 0; index < count; ++index) answered.push_back(json::parse(stage.server.line()).at("id"));
    std::ranges::sort(answered);
    for (int id = 0; id < count; ++id) EXPECT_EQ(answered[static_cast<std::size_t>(id)], id);
}

TEST(Call, a_call_that_is_never_answered_delays_no_other) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    const ReceivedCall unanswered = stage.application.nextCall();
    stage.expectServing();
    stage.server.send(toolsCall("2"));
    stage.application.nextCall().answer("{}");
    EXPECT_EQ(stage.server.line(), resultLine("2", "{}"));
    stage.server.closeInput();
    EXPECT_EQ(stage.server.waitForEnd(), Ending{});
}

TEST(Call, the_application_may_restart_between_calls) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    for (int start = 0; start < 3; ++start) {
        FakeApplication application{home.path()};
        server.send(toolsCall("1"));
        application.nextCall().answer(std::to_string(start));
        EXPECT_EQ(server.line(), resultLine("1", std::to_string(start)));
    }
}

TEST(Call, an_application_that_ends_fails_only_its_calls_and_the_next_one_serves) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
    {
        FakeApplication application{home.path()};
        server.send(toolsCall("1"));
        ReceivedCall call = application.nextCall();
    }
    EXPECT_EQ(server.line(),
              internalErrorLine("1", "Vostel closed the connection before it answered. Please try again."));
    FakeApplication application{home.path()};
    server.send(toolsCall("2"));
    application.nextCall().answer("{}");
    EXPECT_EQ(server.line(), resultLine("2", "{}"));
}

TEST(Call, a_connection_that_closes_while_the_call_is_sent_fails_that_call) {
    Stage stage;
    stage.server.send(toolsCall("1", R"(,"arguments":")" + std::string(4'194'304, 'x') + '"'));
    ApplicationConnection connection = stage.application.accept();
    std::ignore = connection.read(100);
    connection.close();
    EXPECT_EQ(stage.server.line(), internalErrorLine("1", "Vostel could not be reached: Broken pipe."));
    stage.expectServing();
}

} // namespace vostel_tests
