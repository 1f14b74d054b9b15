#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "tests/support/Distinct.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace VostelMCPKit {
namespace {

using namespace MCPDispatchLogic;
using vostel_tests::decoded;
using vostel_tests::expectDistinct;
using vostel_tests::json;
using vostel_tests::written;
using Batch = MCPIncoming::Batch;
using Empty = MCPIncoming::Empty;
using Malformed = MCPIncoming::Malformed;

const MCPIncoming parseError{Malformed{{-32700, "Parse error", {}}}};
const MCPIncoming invalidRequest{Malformed{{-32600, "Invalid Request", {}}}};

TEST(MCPDispatchLogic, classifies_every_line_as_exactly_one_case) {
    struct Row {
        const char* when;
        std::string line;
        MCPIncoming expected;
    };
    const MCPIncoming request{MCPRequest{1, "m", MCPValue::object({})}};
    const MCPIncoming notification{MCPNotification{"m", MCPValue{}}};
    const Row rows[] = {
        {"nothing", "", {Empty{}}},
        {"spaces", "   ", {Empty{}}},
        {"tabs", "\t\t", {Empty{}}},
        {"a lone carriage return", "\r", {Empty{}}},
        {"a line break that was not taken off", "\r\n", {Empty{}}},
        {"other white space", "\xE2\x80\xA8 \xC2\xA0\xE3\x80\x80\xC2\x85\v\f", {Empty{}}},

        {"a request", R"({"id":1,"method":"m","params":{}})", request},
        {"a request and a carriage return", "{\"id\":1,\"method\":\"m\",\"params\":{}}\r", request},
        {"a request and white space around it", "\xE3\x80\x80\t{\"id\":1,\"method\":\"m\",\"params\":{}} \xC2\xA0\n",
         request},
        {"a request spread out", " { \"id\" : 1.0 , \"method\" : \"m\" , \"params\" : { } } ", request},
        {"a request with a string id", R"({"id":"1","method":"m"})", {MCPRequest{"1", "m", MCPValue{}}}},
        {"a repeated id, the last one counts", R"({"id":null,"id":1,"method":"m","params":{}})", request},
        {"a repeated method, the last one counts", R"({"id":1,"method":7,"params":{},"method":"m"})", request},

        {"a notification", R"({"method":"m"})", notification},
        {"a notification of any method",
         R"({"jsonrpc":"2.0","method":"","params":[1]})",
         {MCPNotification{"", MCPValue::array({1})}}},
        {"an id in another letter case is none", R"({"ID":1,"method":"m"})", notification},

        {"an empty batch", "[]", {Batch{}}},
        {"a batch of two numbers", "[1,2]", {Batch{{1, 2}}}},
        {"a batch of messages",
         R"( [{"id":1,"method":"m"},null] )",
         {Batch{{json(R"({"id":1,"method":"m"})"), nullptr}}}},

        {"an opening brace", "{", parseError},
        {"a word", "hello", parseError},
        {"two values", "{} {}", parseError},
        {"a byte order mark", "\xEF\xBB\xBF{\"method\":\"m\"}", parseError},
        {"an unusable number", R"({"id":1e400,"method":"m"})", parseError},
        {"a surrogate without its other half", R"({"method":"\ud800"})", parseError},
        {"bytes that are not UTF-8", "{\"method\":\"\xFF\"}", parseError},
        {"bytes that are not UTF-8, alone", "\xFF", parseError},
        {"NUL", std::string(1, '\0'), parseError},
        {"white space that JSON does not know, inside",
         "[1,\xC2\xA0"
         "2]",
         parseError},

        {"a number", "1", invalidRequest},
        {"a string", "\"m\"", invalidRequest},
        {"true", "true", invalidRequest},
        {"null", "null", invalidRequest},
        {"an empty object", "{}", invalidRequest},
        {"a notification without method", R"({"params":{}})", invalidRequest},
        {"a notification whose method is a number", R"({"method":1})", invalidRequest},
        {"a notification whose jsonrpc is a number", R"({"jsonrpc":2,"method":"m"})", invalidRequest},
        {"a null id", R"({"id":null,"method":"m"})", invalidRequest},
        {"a fractional id", R"({"id":1.5,"method":"m"})", invalidRequest},
        {"a boolean id", R"({"id":false,"method":"m"})", invalidRequest},
        {"an object as id", R"({"id":{},"method":"m"})", invalidRequest},
        {"an id beyond 64 bits", R"({"id":9223372036854775808,"method":"m"})", invalidRequest},
        {"a request without method", R"({"id":1})", invalidRequest},
        {"a request whose method is null", R"({"id":1,"method":null})", invalidRequest},
        {"a response", R"({"id":1,"jsonrpc":"2.0","result":{}})", invalidRequest},
        {"an error response", R"({"id":1,"error":{"code":1,"message":"m"}})", invalidRequest},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(classify(row.line), row.expected); });
}

TEST(MCPDispatchLogic, forwards_calls_and_cancellations_and_nothing_else) {
    struct Row {
        const char* when;
        const char* line;
        bool forwarded;
    };
    const Row rows[] = {
        {"a call", R"({"id":1,"method":"tools/call","params":{"name":"x"}})", true},
        {"a call without params", R"({"id":1,"method":"tools/call"})", true},
        {"a call with params of another type", R"({"id":1,"method":"tools/call","params":7})", true},
        {"a cancellation", R"({"method":"notifications/cancelled","params":{"requestId":1}})", true},
        {"a cancellation without params", R"({"method":"notifications/cancelled"})", true},
        {"a call as a notification", R"({"method":"tools/call"})", false},
        {"a cancellation as a request", R"({"id":1,"method":"notifications/cancelled"})", false},
        {"another letter case", R"({"id":1,"method":"Tools/Call"})", false},
        {"a space at the end", R"({"id":1,"method":"tools/call "})", false},
        {"another method", R"({"id":1,"method":"tools/list"})", false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const MCPIncoming incoming = classify(row.line);
        const MCPHelperRoute way = route(incoming, /*youTubeAvailable=*/true);
        EXPECT_EQ(way == MCPHelperRoute{MCPHelperRoute::ForwardToApplication{incoming}}, row.forwarded);
    });
}

TEST(MCPDispatchLogic, ignores_empty_lines_and_all_other_notifications) {
    for (const char* line :
         {"", " \t", R"({"method":"notifications/initialized"})", R"({"method":"unknown"})",
          R"({"method":"initialize"})", R"({"method":"tools/call"})", R"({"method":"Notifications/cancelled"})"}) {
        SCOPED_TRACE(line);
        EXPECT_EQ(route(classify(line), /*youTubeAvailable=*/true), (MCPHelperRoute{MCPHelperRoute::Ignore{}}));
    }
}

TEST(MCPDispatchLogic, answers_unusable_lines_without_an_identifier) {
    struct Row {
        const char* when;
        const char* line;
        const char* expected;
    };
    const char* batch =
        R"({"error":{"code":-32600,"message":"Batch requests are not supported"},"id":null,"jsonrpc":"2.0"})";
    const char* invalid = R"({"error":{"code":-32600,"message":"Invalid Request"},"id":null,"jsonrpc":"2.0"})";
    const char* parse = R"({"error":{"code":-32700,"message":"Parse error"},"id":null,"jsonrpc":"2.0"})";
    const Row rows[] = {
        {"an empty batch", "[]", batch},
        {"a batch of a request", R"([{"id":1,"method":"ping"}])", batch},
        {"a response", R"({"id":1,"result":1})", invalid},
        {"a number", "1", invalid},
        {"no JSON", "{", parse},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const MCPHelperRoute way = route(classify(row.line), /*youTubeAvailable=*/true);
        const auto* reply = std::get_if<MCPHelperRoute::ReplyWithoutID>(&way.is);
        ASSERT_NE(reply, nullptr);
        EXPECT_EQ(written(frameWithoutID(reply->error)), row.expected);
    });
    EXPECT_EQ(written(frameWithoutID({1, "m", MCPValue::array({})})),
              R"({"error":{"code":1,"data":[],"message":"m"},"id":null,"jsonrpc":"2.0"})");
    const MCPError unwritable{1, "m", MCPValue{std::numeric_limits<double>::quiet_NaN()}};
    EXPECT_EQ(written(frameWithoutID(unwritable)), R"({"error":{},"id":null,"jsonrpc":"2.0"})");
}

/// The reply to `line` as the client reads it; empty when there is none.
std::string reply(std::string_view line) {
    const MCPHelperRoute way = route(classify(line), /*youTubeAvailable=*/true);
    const auto* answer = std::get_if<MCPHelperRoute::Reply>(&way.is);
    return answer != nullptr ? written(answer->response) : "";
}

std::string initializeReply(std::string_view revision) {
    return R"({"id":1,"jsonrpc":"2.0","result":{"capabilities":{"tools":{"listChanged":false}},"protocolVersion":")" +
           std::string{revision} + R"(","serverInfo":{"name":"vostel-mcp","version":"4"}}})";
}

TEST(MCPDispatchLogic, initialize_is_answered_in_the_revision_asked_for_when_that_is_known) {
    struct Row {
        const char* when;
        const char* params;
        const char* revision;
    };
    const Row rows[] = {
        {"the oldest", R"({"protocolVersion":"2024-11-05"})", "2024-11-05"},
        {"the second", R"({"protocolVersion":"2025-03-26"})", "2025-03-26"},
        {"ours", R"({"protocolVersion":"2025-06-18"})", "2025-06-18"},
        {"newer than ours", R"({"protocolVersion":"2025-11-25","capabilities":{}})", "2025-11-25"},
        {"unknown", R"({"protocolVersion":"2030-01-01"})", "2025-06-18"},
        {"known but for a space", R"({"protocolVersion":"2024-11-05 "})", "2025-06-18"},
        {"empty", R"({"protocolVersion":""})", "2025-06-18"},
        {"a number", R"({"protocolVersion":20241105})", "2025-06-18"},
        {"null", R"({"protocolVersion":null})", "2025-06-18"},
        {"missing", "{}", "2025-06-18"},
        {"params are null", "null", "2025-06-18"},
        {"params are not an object", R"(["2024-11-05"])", "2025-06-18"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(reply(R"({"id":1,"method":"initialize","params":)" + std::string{row.params} + "}"),
                  initializeReply(row.revision));
    });
    EXPECT_EQ(reply(R"({"id":1,"method":"initialize"})"), initializeReply("2025-06-18"));
    EXPECT_EQ(written(handshakeResponse(MCPRequest{1, "initialize", {}}, true)), initializeReply("2025-06-18"));
}

TEST(MCPDispatchLogic, negotiates_the_known_revision_or_ours) {
    EXPECT_EQ(ourRevision, "2025-06-18");
    EXPECT_EQ(knownRevisions,
              (std::array<std::string_view, 4>{"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"}));
    for (const auto revision : knownRevisions) EXPECT_EQ(negotiate(revision), revision);
    for (const char* other : {"", "2025", "2025-11-26", " 2025-11-25", "DRAFT-2025-11-25"}) {
        EXPECT_EQ(negotiate(other), "2025-06-18") << other;
    }
}

TEST(MCPDispatchLogic, a_negotiated_revision_does_not_depend_on_the_text_of_the_client) {
    for (const auto revision : knownRevisions) {
        const std::string requested{revision};
        EXPECT_EQ(negotiate(requested).data(), revision.data());
    }
}

TEST(MCPDispatchLogic, unknown_methods_are_not_found_and_ping_is_one_of_them) {
    struct Row {
        const char* when;
        const char* line;
        const char* expected;
    };
    const Row rows[] = {
        {"ping", R"({"id":7,"method":"ping"})",
         R"({"error":{"code":-32601,"message":"Method not found: ping"},"id":7,"jsonrpc":"2.0"})"},
        {"a string id", R"({"id":"7","method":"resources/list"})",
         R"({"error":{"code":-32601,"message":"Method not found: resources/list"},"id":"7","jsonrpc":"2.0"})"},
        {"an empty method", R"({"id":7,"method":""})",
         R"({"error":{"code":-32601,"message":"Method not found: "},"id":7,"jsonrpc":"2.0"})"},
        {"another letter case", R"({"id":7,"method":"Initialize"})",
         R"({"error":{"code":-32601,"message":"Method not found: Initialize"},"id":7,"jsonrpc":"2.0"})"},
        {"a method as it came", R"({"id":7,"method":" a\n\"b\" "})",
         R"({"error":{"code":-32601,"message":"Method not found:  a\n\"b\" "},"id":7,"jsonrpc":"2.0"})"},
        {"a cancellation as a request", R"({"id":7,"method":"notifications/cancelled"})",
         R"({"error":{"code":-32601,"message":"Method not found: notifications/cancelled"},"id":7,"jsonrpc":"2.0"})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(reply(row.line), row.expected); });
    EXPECT_EQ(handshakeResponse(MCPRequest{1, "tools/call", {}}, true),
              MCPResponse::failure(1, MCPError::methodNotFound("Method not found: tools/call")));
}

TEST(MCPDispatchLogic, discover_lists_the_known_revisions) {
    EXPECT_EQ(
        reply(R"({"id":1,"method":"server/discover"})"),
        R"({"id":1,"jsonrpc":"2.0","result":{"versions":["2024-11-05","2025-03-26","2025-06-18","2025-11-25"]}})");
}

TEST(MCPDispatchLogic, the_tool_list_is_the_catalogue_for_the_availability_given) {
    for (const bool youTubeAvailable : {true, false}) {
        const MCPResponse response = handshakeResponse(MCPRequest{"x", "tools/list", {}}, youTubeAvailable);
        const MCPValue expected = MCPValue::object({{"tools", encode(MCPToolCatalogue::tools(youTubeAvailable))}});
        EXPECT_EQ(response, MCPResponse::result("x", expected));
        EXPECT_EQ(expected["tools"]->asArray()->size(), youTubeAvailable ? 12U : 11U);
        const MCPIncoming incoming{MCPRequest{"x", "tools/list", {}}};
        EXPECT_EQ(route(incoming, youTubeAvailable), (MCPHelperRoute{MCPHelperRoute::Reply{response}}));
    }
}

TEST(MCPDispatchLogic, only_requests_have_a_handshake_response) {
    const MCPRequest request{1, "server/discover", {}};
    EXPECT_EQ(handshakeResponse(MCPIncoming{request}, true), handshakeResponse(request, true));
    const MCPIncoming others[] = {{MCPNotification{"initialize", {}}}, {Batch{}}, parseError, {Empty{}}};
    for (const MCPIncoming& incoming : others) EXPECT_EQ(handshakeResponse(incoming, true), std::nullopt);
}

TEST(MCPDispatchLogic, the_client_info_is_read_when_it_has_a_name) {
    struct Row {
        const char* when;
        const char* params;
        std::optional<MCPClientInfo> expected;
    };
    const Row rows[] = {
        {"name and version", R"({"clientInfo":{"name":"c","version":"1"}})", MCPClientInfo{"c", "1"}},
        {"other members", R"({"clientInfo":{"name":"c","title":"C"},"x":1})", MCPClientInfo{"c", {}}},
        {"an empty name", R"({"clientInfo":{"name":""}})", MCPClientInfo{"", {}}},
        {"a number as version", R"({"clientInfo":{"name":"c","version":1}})", MCPClientInfo{"c", {}}},
        {"a null version", R"({"clientInfo":{"name":"c","version":null}})", MCPClientInfo{"c", {}}},
        {"no name", R"({"clientInfo":{"version":"1"}})", {}},
        {"a number as name", R"({"clientInfo":{"name":1,"version":"1"}})", {}},
        {"a null name", R"({"clientInfo":{"name":null}})", {}},
        {"clientInfo is a string", R"({"clientInfo":"c"})", {}},
        {"clientInfo is an array", R"({"clientInfo":["name","c"]})", {}},
        {"no clientInfo", R"({"name":"c"})", {}},
        {"params are null", "null", {}},
        {"params are an array", R"([{"clientInfo":{"name":"c"}}])", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(clientInfo(MCPRequest{1, "initialize", json(row.params)}), row.expected);
    });
    EXPECT_EQ(clientInfo(MCPRequest{1, "initialize", {}}), std::nullopt);
    EXPECT_EQ(clientInfo(MCPRequest{1, "ping", json(R"({"clientInfo":{"name":"c"}})")}), (MCPClientInfo{"c", {}}));
}

TEST(MCPDispatchLogic, the_forwarded_names_are_those_of_the_protocol) {
    EXPECT_EQ(applicationMethod, "tools/call");
    EXPECT_EQ(applicationNotification, "notifications/cancelled");
}

TEST(MCPIncoming, compares_and_hashes_case_and_payload) {
    expectDistinct<MCPIncoming>({{MCPRequest{1, "m", {}}},
                                 {MCPRequest{2, "m", {}}},
                                 {MCPNotification{"m", {}}},
                                 {MCPNotification{"n", {}}},
                                 {Batch{}},
                                 {Batch{{1}}},
                                 {Batch{{2}}},
                                 parseError,
                                 invalidRequest,
                                 {Empty{}}});
}

TEST(MCPHelperRoute, compares_and_hashes_case_and_payload) {
    using Route = MCPHelperRoute;
    expectDistinct<Route>({{Route::Reply{MCPResponse::result(1, 1)}},
                           {Route::Reply{MCPResponse::result(1, 2)}},
                           {Route::ReplyWithoutID{MCPError::parseError("m")}},
                           {Route::ReplyWithoutID{MCPError::parseError("n")}},
                           {Route::ForwardToApplication{{Empty{}}}},
                           {Route::ForwardToApplication{{Batch{}}}},
                           {Route::Ignore{}}});
}

} // namespace
} // namespace VostelMCPKit
