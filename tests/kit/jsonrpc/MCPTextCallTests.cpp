#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/MCPTextCall.h"
#include "tests/support/JSON.h"
#include "tests/support/RandomJSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::damaged;
using vostel_tests::Generator;
using vostel_tests::Random;
using vostel_tests::written;

std::string call(const std::string& params) {
    return R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":)" + params + "}";
}

/// Whether `line` is read as text. If it is, the result must equal that of reading it as a value.
bool isReadAsText(const std::string& line) {
    const auto asText = readTextCall(line);
    if (!asText) return false;
    const MCPIncoming incoming = MCPDispatchLogic::classify(line);
    const auto* request = std::get_if<MCPRequest>(&incoming.is);
    if (request == nullptr) {
        ADD_FAILURE() << "no request: " << line;
        return true;
    }
    EXPECT_EQ(request->method, "tools/call");
    EXPECT_EQ(asText->request.method, "tools/call");
    EXPECT_EQ(asText->request.id, request->id);
    std::vector<MCPValue::Member> members;
    for (const MCPValue::Member& member : orNull(request->params).members()) {
        const bool isArguments = member.key() == "arguments";
        if (isArguments) {
            EXPECT_EQ(asText->arguments.text(), written(member.value)) << line;
        }
        members.emplace_back(member.key(), isArguments ? MCPValue{} : member.value);
    }
    EXPECT_EQ(asText->request.params, MCPValue::object(members)) << line;
    return true;
}

TEST(MCPTextCall, only_a_usual_call_is_read_as_text) {
    struct Row {
        const char* when;
        std::string line;
        std::optional<std::string> arguments;
    };
    const Row rows[] = {
        {"in our form", call(R"({"arguments":{"a":[1]},"name":"t"})"), R"({"a":[1]})"},
        {"in another form", call(R"({"name":"t","arguments": {"b":1.0, "a":"\u0041"}})"), R"({"a":"A","b":1})"},
        {"no object", call(R"({"arguments":null})"), "null"},
        {"white space everywhere", " " + call("\t{ \"arguments\" :\r\n1e0 } ") + "\r", "1"},
        {"params first", R"({"params":{"arguments":[]},"method":"tools/call","id":"7"})", "[]"},
        {"a key of that name elsewhere", call(R"({"_meta":{"arguments":1},"arguments":2})"), "2"},
        {"such a key in the arguments", call(R"({"arguments":{"params":{"arguments":1}}})"),
         R"({"params":{"arguments":1}})"},
        {"no arguments", call(R"({"name":"t"})"), {}},
        {"arguments outside the params", R"({"id":1,"method":"tools/call","params":{},"arguments":1})", {}},
        {"no params", R"({"id":1,"method":"tools/call"})", {}},
        {"params that are not an object", call(R"([{"arguments":1}])"), {}},
        {"repeated arguments", call(R"({"arguments":1,"arguments":2})"), {}},
        {"repeated params", R"({"params":{"arguments":1},"params":{},"id":1,"method":"tools/call"})", {}},
        {"a key with an escape", call(R"({"arguments":1,"argument\u0073":2})"), {}},
        {"another method", R"({"id":1,"method":"tools/list","params":{"arguments":1}})", {}},
        {"a notification", R"({"method":"tools/call","params":{"arguments":1}})", {}},
        {"an invalid ID", R"({"id":null,"method":"tools/call","params":{"arguments":1}})", {}},
        {"a batch", "[" + call(R"({"arguments":1})") + "]", {}},
        {"nothing", "", {}},
        {"no JSON in the arguments", call(R"({"arguments":[1,]})"), {}},
        {"no JSON after the arguments", call(R"({"arguments":1e})"), {}},
        {"no JSON after the params", call(R"({"arguments":1})") + "}", {}},
        {"the end after the arguments", R"({"id":1,"method":"tools/call","params":{"arguments":1)", {}},
        {"an open key", R"({"id":1,"method":"tools/call","params":{"arguments)", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto asText = readTextCall(row.line);
        ASSERT_EQ(asText.has_value(), row.arguments.has_value());
        EXPECT_EQ(isReadAsText(row.line), row.arguments.has_value());
        if (asText) {
            EXPECT_EQ(asText->arguments.text(), *row.arguments);
        }
    });
}

TEST(MCPTextCall, a_call_read_as_text_equals_the_call_read_as_a_value) {
    Generator generator{11};
    Random random{12};
    int asText = 0;
    int damagedAsText = 0;
    for (int round = 0; round < 1'000; ++round) {
        const std::string line =
            call(R"({"name":"t","_meta":)" + generator.document() + R"(,"arguments":)" + generator.document() + "}");
        if (isReadAsText(line)) ++asText;
        if (isReadAsText(damaged(line, random))) ++damagedAsText;
    }
    EXPECT_GT(asText, 200);
    EXPECT_GT(damagedAsText, 50);
}

} // namespace
} // namespace VostelMCPKit
