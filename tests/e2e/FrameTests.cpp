// Bytes from the application: frames cut into any pieces, and bytes that are not frames.

#include "tests/e2e/Stage.h"
#include "tests/support/Table.h"

namespace vostel_tests {

namespace {

constexpr const char* closedEarly = "Vostel closed the connection before it answered. Please try again.";

std::string unreadable(std::string_view reason) {
    return "Vostel sent an answer that could not be read: " + std::string{reason} + ".";
}

std::string errorFrame(std::string_view error) {
    return frame(R"({"kind":"response","payload":{"requestID":"","error":)" + std::string{error} + "}}");
}

} // namespace

TEST(Frame, frames_in_pieces_of_any_size_give_the_same_lines) {
    Stage stage;
    for (const std::size_t size : {1U, 2U, 3U, 4U, 5U, 7U, 64U, 100'000U}) {
        SCOPED_TRACE(size);
        stage.server.send(toolsCall("1", R"(,"_meta":{"progressToken":"t"})"));
        ReceivedCall call = stage.application.nextCall();
        const std::string bytes =
            frame(call.progress("0.25")) + frame(call.progress("0.5")) + frame(call.response(R"({"text":"é"})"));
        for (std::size_t start = 0; start < bytes.size(); start += size)
            call.connection.write(bytes.substr(start, size));
        for (const char* fraction : {"0.25", "0.5"}) {
            EXPECT_EQ(stage.server.line(),
                      R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":)" +
                          std::string{fraction} + R"(,"progressToken":"t","total":1}})");
        }
        EXPECT_EQ(stage.server.line(), resultLine("1", R"({"text":"é"})"));
    }
}

TEST(Frame, the_first_response_with_any_id_ends_the_call) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    call.connection.write(frame(R"({"kind":"response","payload":{"requestID":"somebody else","result":null}})") +
                          frame(call.response("2")) + "garbage");
    EXPECT_EQ(stage.server.line(), resultLine("1", "null"));
    call.connection.expectClosedByServer();
}

TEST(Frame, anything_but_an_answer_fails_the_call_with_a_sentence) {
    struct Row {
        const char* when;
        std::string bytes;
        std::string message;
    };
    const Row rows[] = {
        {"nothing", "", closedEarly},
        {"a part of a header", std::string(2, '\0'), closedEarly},
        {"a part of a frame", frame(R"({"kind":"response"})").substr(0, 10), closedEarly},
        {"progress, then nothing", frame(R"({"kind":"progress","payload":{"requestID":"","fraction":1}})"),
         closedEarly},
        {"an empty frame", frame(""), unreadable("it is not valid JSON at byte 0")},
        {"words", frame("hello"), unreadable("it is not valid JSON at byte 0")},
        {"bytes that are not UTF-8", frame("\"\xff\""), unreadable("it is not valid JSON at byte 1")},
        {"no object", frame("[]"), unreadable("it is not an object")},
        {"no kind", frame(R"({"payload":{}})"), unreadable("kind is missing")},
        {"no payload", frame(R"({"kind":"response"})"), unreadable("payload is missing")},
        {"no result and no error", frame(R"({"kind":"response","payload":{"requestID":""}})"),
         unreadable("Ответ провода обязан нести либо result, либо error, но не оба и не ни одного")},
        {"a result and an error", frame(R"({"kind":"response","payload":{"requestID":"","result":null,"error":null}})"),
         unreadable("Ответ провода обязан нести либо result, либо error, но не оба и не ни одного")},
        {"a length one beyond the limit", std::string{"\x04\0\0\x01", 4},
         "Vostel MCP frame of 67108865 bytes exceeds the 67108864-byte limit and was rejected."},
        {"the longest length", "\xff\xff\xff\xff",
         "Vostel MCP frame of 4294967295 bytes exceeds the 67108864-byte limit and was rejected."},
        {"text where a frame should be", "HTTP/1.1 400 Bad Request\r\n\r\n",
         "Vostel MCP frame of 1213486160 bytes exceeds the 67108864-byte limit and was rejected."},
        {"the refusal of an oversized frame",
         errorFrame(R"({"kind":"frameTooLarge","declared":70000000,"limit":67108864})"),
         "Vostel MCP frame of 70000000 bytes exceeds the 67108864-byte limit and was rejected."},
        {"the refusal of the version", errorFrame(R"({"kind":"versionMismatch","helper":4,"app":5})"),
         "Vostel MCP wire protocol mismatch (helper v4, app v5). Restart the Vostel MCP server — quit and relaunch "
         "your "
         "AI client so it spawns vostel-mcp again."},
    };
    Stage stage;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        stage.server.send(toolsCall("1"));
        ReceivedCall call = stage.application.nextCall();
        call.connection.write(row.bytes);
        call.connection.close();
        EXPECT_EQ(stage.server.line(), internalErrorLine("1", row.message));
    });
    stage.expectServing();
}

TEST(Frame, an_unknown_kind_is_not_an_answer) {
    Stage stage;
    for (const char* kind : {R"("request")", R"("Response")", "1", "null"}) {
        SCOPED_TRACE(kind);
        stage.server.send(toolsCall("1"));
        ReceivedCall call = stage.application.nextCall();
        call.connection.write(frame(std::string{R"({"kind":)"} + kind + R"(,"payload":{"requestID":"","result":1}})"));
        const std::string line = stage.server.line();
        EXPECT_TRUE(
            line.starts_with(R"({"error":{"code":-32603,"message":"Vostel sent an answer that could not be read: )"))
            << line;
        EXPECT_TRUE(line.ends_with(R"(."},"id":1,"jsonrpc":"2.0"})")) << line;
    }
}

TEST(Frame, an_oversized_header_is_refused_without_waiting_for_its_bytes) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    call.connection.write({"\x04\0\0\x01", 4});
    EXPECT_EQ(
        stage.server.line(),
        internalErrorLine("1", "Vostel MCP frame of 67108865 bytes exceeds the 67108864-byte limit and was rejected."));
    call.connection.expectClosedByServer();
}

TEST(Frame, the_longest_frame_is_accepted) {
    Stage stage;
    stage.server.send(toolsCall("1"));
    ReceivedCall call = stage.application.nextCall();
    std::string payload = call.response(R"("the end")");
    payload.resize(67'108'864, ' ');
    call.connection.write(frame(payload));
    EXPECT_EQ(stage.server.line(), resultLine("1", R"("the end")"));
}

} // namespace vostel_tests
