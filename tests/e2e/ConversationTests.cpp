// What the server answers without any application.

#include "tests/e2e/Messages.h"
#include "tests/e2e/ServerProcess.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace vostel_tests {

using nlohmann::json;

namespace {

constexpr const char* parseError = R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";
constexpr const char* invalidRequest =
    R"({"error":{"code":-32600,"message":"Invalid Request"},"id":null,"jsonrpc":"2.0"})";
constexpr const char* noBatches =
    R"({"error":{"code":-32600,"message":"Batch requests are not supported"},"id":null,"jsonrpc":"2.0"})";

/// A server without an application.
struct Alone {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path()}};
};

} // namespace

TEST(Conversation, the_start_writes_the_wire_version_to_standard_error_and_nothing_to_standard_output) {
    Alone alone;
    alone.server.closeInput();
    EXPECT_EQ(alone.server.waitForEnd(), Ending{});
    EXPECT_EQ(alone.server.errorText(), "vostel-mcp wire protocol v4\n");
    EXPECT_EQ(alone.server.unreadOutput(), "");
}

TEST(Conversation, arguments_and_variables_of_the_process_change_nothing) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(),
                          .arguments = {"--version", "--help", "-x"},
                          .environment = {"VOSTEL_MCP_SOCKET=/nowhere", "LC_ALL=de_DE.UTF-8"}}};
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
}

TEST(Conversation, initialize_agrees_on_a_revision) {
    struct Row {
        const char* when;
        const char* params;
        const char* revision;
    };
    const Row rows[] = {
        {"the oldest known", R"(,"params":{"protocolVersion":"2024-11-05"})", "2024-11-05"},
        {"the newest known", R"(,"params":{"protocolVersion":"2025-11-25"})", "2025-11-25"},
        {"unknown", R"(,"params":{"protocolVersion":"2099-01-01"})", "2025-06-18"},
        {"no string", R"(,"params":{"protocolVersion":20250618})", "2025-06-18"},
        {"no params", "", "2025-06-18"},
        {"params that are not an object", R"(,"params":["2024-11-05"])", "2025-06-18"},
    };
    Alone alone;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        alone.server.send(std::string{R"({"jsonrpc":"2.0","id":1,"method":"initialize")"} + row.params + "}");
        EXPECT_EQ(
            alone.server.line(),
            resultLine("1", std::string{R"({"capabilities":{"tools":{"listChanged":false}},"protocolVersion":")"} +
                                row.revision + R"(","serverInfo":{"name":"vostel-mcp","version":"4"}})"));
    });
}

TEST(Conversation, the_tools_are_listed_in_their_order_with_closed_schemas) {
    Alone alone;
    alone.server.send(R"({"jsonrpc":"2.0","id":"list","method":"tools/list"})");
    const std::string line = alone.server.line();
    const json reply = json::parse(line);
    EXPECT_EQ(reply.at("id"), "list");

    std::vector<std::string> names;
    for (const json& tool : reply.at("result").at("tools")) {
        const std::string name = tool.at("name");
        SCOPED_TRACE(name);
        names.push_back(name);
        EXPECT_FALSE(tool.at("description").get<std::string>().empty());
        for (const char* schema : {"inputSchema", "outputSchema"}) {
            EXPECT_EQ(tool.at(schema).at("type"), "object");
            EXPECT_EQ(tool.at(schema).at("additionalProperties"), false);
        }
    }
    const std::vector<std::string> expected = {"transcribe_file",  "transcribe_url",  "history_list",
                                               "transcripts_list", "recordings_list", "recording_get",
                                               "vocabulary_list",  "vocabulary_add",  "vocabulary_remove",
                                               "models_list",      "model_install",   "model_remove"};
    EXPECT_EQ(names, expected);

    alone.server.send(R"({"jsonrpc":"2.0","id":"list","method":"tools/list","params":{"cursor":"x"}})");
    EXPECT_EQ(alone.server.line(), line);
}

TEST(Conversation, discovery_names_the_known_revisions) {
    Alone alone;
    alone.server.send(R"({"jsonrpc":"2.0","id":-1,"method":"server/discover"})");
    EXPECT_EQ(alone.server.line(),
              resultLine("-1", R"({"versions":["2024-11-05","2025-03-26","2025-06-18","2025-11-25"]})"));
}

TEST(Conversation, each_line_gets_its_reply_or_none) {
    struct Row {
        const char* when;
        std::string line;
        std::string reply;
    };
    const std::string nothing;
    const Row rows[] = {
        {"a ping", ping("7"), pingReply("7")},
        {"a ping with white space around it", " \t" + ping("7") + " \r", pingReply("7")},
        {"a carriage return before the line feed", ping("8") + "\r", pingReply("8")},
        {"the largest id", ping("9223372036854775807"), pingReply("9223372036854775807")},
        {"an id with an integral exponent", ping("1e3"), pingReply("1000")},
        {"the empty id", ping(R"("")"), pingReply(R"("")")},
        {"an id beyond ASCII", ping(R"("\u00e9")"), pingReply(R"("é")")},
        {"a fractional id", ping("1.5"), invalidRequest},
        {"an id of null", ping("null"), invalidRequest},
        {"an id that is an object", ping("{}"), invalidRequest},
        {"empty", "", nothing},
        {"only white space", " \t \r", nothing},
        {"only white space beyond ASCII", "\u00a0\u2003\u2028", nothing},
        {"the initialized notification", R"({"jsonrpc":"2.0","method":"notifications/initialized"})", nothing},
        {"an unknown notification", R"({"jsonrpc":"2.0","method":"x"})", nothing},
        {"a tools/call without an id", R"({"jsonrpc":"2.0","method":"tools/call","params":{"name":"x"}})", nothing},
        {"a cancellation of nothing", cancelled("1"), nothing},
        {"an empty batch", "[]", noBatches},
        {"a batch of two", "[" + ping("1") + "," + ping("2") + "]", noBatches},
        {"an opening brace", "{", parseError},
        {"words", "hello", parseError},
        {"two values", "{} {}", parseError},
        {"a message cut short", ping("1").substr(0, 20), parseError},
        {"a byte order mark", "\ufeff" + ping("1"), parseError},
        {"a NUL byte", ping("1") + std::string(1, '\0'), parseError},
        {"a control character in a string", "{\"jsonrpc\":\"2.0\",\"id\":\"\x01\",\"method\":\"ping\"}", parseError},
        {"a number beyond the range of double", ping("1e400"), parseError},
        {"half of a surrogate pair", ping(R"("\ud800")"), parseError},
        {"a number", "1", invalidRequest},
        {"a string", R"("x")", invalidRequest},
        {"null", "null", invalidRequest},
        {"an empty object", "{}", invalidRequest},
        {"a response", R"({"jsonrpc":"2.0","id":1,"result":{}})", invalidRequest},
        {"an older JSON-RPC", R"({"jsonrpc":"1.0","id":1,"method":"ping"})", pingReply("1")},
        {"no jsonrpc member", R"({"id":1,"method":"ping"})", pingReply("1")},
        {"a version that is a number", R"({"jsonrpc":2.0,"id":1,"method":"ping"})", invalidRequest},
        {"a method that is not a string", R"({"jsonrpc":"2.0","id":1,"method":1})", invalidRequest},
        {"bytes that are not UTF-8", "{\"jsonrpc\":\"2.0\",\"id\":\"\xff\",\"method\":\"ping\"}", nothing},
        {"an overlong slash", "\xc0\xaf", nothing},
        {"a surrogate in UTF-8", "\xed\xa0\x80", nothing},
        {"a character cut short", "\xe2\x82", nothing},
        {"a repeated key", R"({"jsonrpc":"2.0","id":1,"id":2,"method":"ping"})", pingReply("2")},
        {"a call without a name", R"({"jsonrpc":"2.0","id":3,"method":"tools/call","params":{"arguments":{}}})",
         R"({"error":{"code":-32602,"message":"tools/call requires params.name"},"id":3,"jsonrpc":"2.0"})"},
        {"a call without params", R"({"jsonrpc":"2.0","id":"3","method":"tools/call"})",
         R"({"error":{"code":-32602,"message":"tools/call requires params.name"},"id":"3","jsonrpc":"2.0"})"},
        {"a call whose name is a number", R"({"jsonrpc":"2.0","id":3,"method":"tools/call","params":{"name":1}})",
         R"({"error":{"code":-32602,"message":"tools/call requires params.name"},"id":3,"jsonrpc":"2.0"})"},
    };
    Alone alone;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        alone.server.send(row.line);
        alone.server.send(ping(R"("next")"));
        if (!row.reply.empty()) {
            EXPECT_EQ(alone.server.line(), row.reply);
        }
        EXPECT_EQ(alone.server.line(), pingReply(R"("next")"));
    });
}

TEST(Conversation, many_lines_of_one_write_are_answered_in_order) {
    Alone alone;
    std::string lines;
    for (int id = 0; id < 1000; ++id) lines += ping(std::to_string(id)) + "\n\n";
    alone.server.write(lines);
    for (int id = 0; id < 1000; ++id) ASSERT_EQ(alone.server.line(), pingReply(std::to_string(id)));
}

TEST(Conversation, a_long_line_may_arrive_byte_by_byte) {
    const std::size_t length = sanitized ? 65'536 : 1'048'576;
    const std::string id = '"' + std::string(length, 'x') + '"';
    Alone alone;
    const std::string line = ping(id) + "\n";
    for (const char& byte : line) alone.server.write({&byte, 1});
    EXPECT_EQ(alone.server.line(), pingReply(id));
}

TEST(Conversation, a_character_may_be_cut_between_two_writes) {
    Alone alone;
    const std::string line = ping(R"("€")") + "\n";
    const auto middle = line.find("€") + 1;
    alone.server.write(line.substr(0, middle));
    alone.server.expectSilence();
    alone.server.write(line.substr(middle));
    EXPECT_EQ(alone.server.line(), pingReply(R"("€")"));
}

TEST(Conversation, any_depth_of_nesting_is_safe) {
    constexpr std::size_t depth = 200'000;
    std::string objects;
    for (std::size_t level = 0; level < depth; ++level) objects += R"({"a":)";
    struct Row {
        const char* when;
        std::string line;
        std::string reply;
    };
    const Row rows[] = {
        {"never closed", std::string(depth, '['), parseError},
        {"in objects",
         R"({"jsonrpc":"2.0","id":1,"method":"ping","params":)" + objects + "1" + std::string(depth, '}') + "}",
         pingReply("1")},
    };
    Alone alone;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        alone.server.send(row.line);
        EXPECT_EQ(alone.server.line(), row.reply);
    });
}

TEST(Conversation, streams_may_be_non_blocking) {
    TemporaryFolder home;
    ServerProcess server{{.home = home.path(), .streamsAreNonBlockingSockets = true}};
    server.send(ping("1"));
    EXPECT_EQ(server.line(), pingReply("1"));
    // More than the socket holds, so that the server must wait for us while it writes.
    const std::string id = '"' + std::string(4'194'304, 'x') + '"';
    server.send(ping(id));
    EXPECT_EQ(server.line(), pingReply(id));
}

} // namespace vostel_tests
