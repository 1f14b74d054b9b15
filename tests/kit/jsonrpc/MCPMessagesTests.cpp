#include "kit/jsonrpc/MCPLine.h"
#include "kit/jsonrpc/MCPMessages.h"
#include "tests/support/Distinct.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::expectDistinct;
using vostel_tests::json;
using vostel_tests::written;
using namespace std::literals;

constexpr const char* badID = "Идентификатор запроса не является ни строкой, ни числом";
constexpr const char* badResponse = "Ответ обязан нести либо result, либо error, но не оба и не ни одного";

TEST(MCPRequestID, is_an_integer_or_a_string) {
    struct Row {
        const char* when;
        const char* text;
        std::optional<MCPRequestID> expected;
    };
    const Row rows[] = {
        {"an integer", "7", 7},
        {"a negative integer", "-7", -7},
        {"zero", "0", 0},
        {"integral with a fraction", "7.0", 7},
        {"integral with an exponent", "1e3", 1'000},
        {"the highest integer", "9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"a string of digits", "\"7\"", "7"},
        {"an empty string", "\"\"", ""},
        {"any string", "\"é \\n\"", "é \n"},
        {"a fraction", "7.5", {}},
        {"beyond 64 bits", "9223372036854775808", {}},
        {"true", "true", {}},
        {"null", "null", {}},
        {"an array", "[7]", {}},
        {"an object", "{\"id\":7}", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto id = decoded<MCPRequestID>(row.text);
        if (row.expected) {
            EXPECT_EQ(id, *row.expected);
        } else {
            ASSERT_FALSE(id);
            EXPECT_EQ(id.error(), (DecodingError{DecodingError::DataCorrupted{badID}}));
            EXPECT_EQ(id.error().description(), badID);
        }
    });
}

TEST(MCPRequestID, is_written_in_its_own_type) {
    EXPECT_EQ(written(MCPRequestID{7}), "7");
    EXPECT_EQ(written(MCPRequestID{"7"}), "\"7\"");
    EXPECT_EQ(written(MCPRequestID{std::numeric_limits<std::int64_t>::min()}), "-9223372036854775808");
}

TEST(MCPRequestID, an_array_of_characters_is_read_up_to_its_first_NUL_or_its_end) {
    const char full[2] = {'i', 'd'};
    const char ended[8] = "id";
    EXPECT_EQ(MCPRequestID{full}.text(), "id");
    EXPECT_EQ(MCPRequestID{ended}.text(), "id");
}

TEST(MCPRequestID, a_number_never_equals_a_string_but_shares_its_text) {
    EXPECT_NE(MCPRequestID{7}, MCPRequestID{"7"});
    EXPECT_NE(MCPRequestID{7}, MCPRequestID{8});
    EXPECT_EQ(MCPRequestID{7}, MCPRequestID{std::int64_t{7}});
    EXPECT_EQ(MCPRequestID{7}.text(), "7");
    EXPECT_EQ(MCPRequestID{"7"}.text(), "7");
    EXPECT_EQ(MCPRequestID{-12}.text(), "-12");
    EXPECT_EQ(MCPRequestID{" a "}.text(), " a ");
    const std::hash<MCPRequestID> hash;
    EXPECT_EQ(hash(7), hash(std::int64_t{7}));
    EXPECT_EQ(hash("7"), hash(std::string{"7"}));
    EXPECT_NE(hash(7), hash("7"));
}

TEST(MCPRequest, is_read_leniently_except_for_its_identifier_and_method) {
    struct Row {
        const char* when;
        const char* text;
        MCPRequest expected;
    };
    const Row rows[] = {
        {"everything there",
         R"({"jsonrpc":"2.0","id":7,"method":"m","params":{"a":1}})",
         {7, "m", MCPValue::object({{"a", 1}})}},
        {"no jsonrpc", R"({"id":7,"method":"m","params":[]})", {7, "m", MCPValue::array({})}},
        {"another version", R"({"jsonrpc":"1.0","id":7,"method":"m","params":1})", {7, "m", 1}},
        {"no params become null", R"({"jsonrpc":"2.0","id":"x","method":"m"})", {"x", "m", MCPValue{}}},
        {"null params", R"({"jsonrpc":"2.0","id":"x","method":"m","params":null})", {"x", "m", MCPValue{}}},
        {"params of any kind", R"({"id":1,"method":"","params":"text"})", {1, "", "text"}},
        {"other members", R"({"id":1,"method":"m","result":1,"error":2,"ID":3})", {1, "m", MCPValue{}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(decoded<MCPRequest>(row.text), row.expected); });
}

TEST(MCPRequest, fails_with_the_first_member_that_does_not_fit) {
    struct Row {
        const char* when;
        const char* text;
        DecodingError expected;
    };
    const DecodingError corruptedID{DecodingError::DataCorrupted{badID}, "id"};
    const Row rows[] = {
        {"jsonrpc is a number", R"({"jsonrpc":2,"method":7})", {DecodingError::TypeMismatch{"a string"}, "jsonrpc"}},
        {"jsonrpc is null",
         R"({"jsonrpc":null,"id":1,"method":"m"})",
         {DecodingError::TypeMismatch{"a string"}, "jsonrpc"}},
        {"no id", R"({"method":7})", {DecodingError::KeyNotFound{}, "id"}},
        {"a null id", R"({"id":null,"method":7})", corruptedID},
        {"a fractional id", R"({"id":7.5,"method":"m"})", corruptedID},
        {"a boolean id", R"({"id":true,"method":"m"})", corruptedID},
        {"no method", R"({"id":1})", {DecodingError::KeyNotFound{}, "method"}},
        {"a null method", R"({"id":1,"method":null})", {DecodingError::TypeMismatch{"a string"}, "method"}},
        {"a number as method", R"({"id":1,"method":1})", {DecodingError::TypeMismatch{"a string"}, "method"}},
        {"no object", "[]", {DecodingError::TypeMismatch{"an object"}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto request = decoded<MCPRequest>(row.text);
        ASSERT_FALSE(request);
        EXPECT_EQ(request.error(), row.expected) << request.error().description();
    });
}

TEST(MCPRequest, writes_params_when_present_also_when_null) {
    EXPECT_EQ(written(MCPRequest{1, "m", MCPValue::array({1})}),
              R"({"id":1,"jsonrpc":"2.0","method":"m","params":[1]})");
    EXPECT_EQ(written(MCPRequest{"a", "m", MCPValue{}}), R"({"id":"a","jsonrpc":"2.0","method":"m","params":null})");
    EXPECT_EQ(written(MCPRequest{"a", "m", {}}), R"({"id":"a","jsonrpc":"2.0","method":"m"})");
}

TEST(MCPRequest, without_params_is_written_with_null_after_it_was_read) {
    EXPECT_EQ(written(*decoded<MCPRequest>(R"({"id":1,"method":"m"})")),
              R"({"id":1,"jsonrpc":"2.0","method":"m","params":null})");
}

TEST(MCPNotification, is_read_like_a_request_without_identifier) {
    EXPECT_EQ(decoded<MCPNotification>(R"({"jsonrpc":"2.0","method":"m","params":[1]})"),
              (MCPNotification{"m", MCPValue::array({1})}));
    EXPECT_EQ(decoded<MCPNotification>(R"({"method":"m"})"), (MCPNotification{"m", MCPValue{}}));
    EXPECT_EQ(decoded<MCPNotification>(R"({"id":true,"method":"m","params":null})"),
              (MCPNotification{"m", MCPValue{}}));
    for (const char* text : {"{}", R"({"method":1})", R"({"jsonrpc":2,"method":"m"})", "[]", "null"}) {
        EXPECT_FALSE(decoded<MCPNotification>(text)) << text;
    }
}

TEST(MCPNotification, writes_params_when_present) {
    EXPECT_EQ(written(MCPNotification{"m", MCPValue::object({})}), R"({"jsonrpc":"2.0","method":"m","params":{}})");
    EXPECT_EQ(written(MCPNotification{"m", MCPValue{}}), R"({"jsonrpc":"2.0","method":"m","params":null})");
    EXPECT_EQ(written(MCPNotification{"m", {}}), R"({"jsonrpc":"2.0","method":"m"})");
}

TEST(MCPResponse, carries_either_a_result_or_an_error) {
    struct Row {
        const char* when;
        MCPResponse response;
        const char* text;
    };
    const Row rows[] = {
        {"a result", MCPResponse::result(3, MCPValue::object({{"a", 1}})),
         R"({"id":3,"jsonrpc":"2.0","result":{"a":1}})"},
        {"a null result", MCPResponse::result("x", nullptr), R"({"id":"x","jsonrpc":"2.0","result":null})"},
        {"an error", MCPResponse::failure(3, MCPError::internalError("m")),
         R"({"error":{"code":-32603,"message":"m"},"id":3,"jsonrpc":"2.0"})"},
        {"an error with data", MCPResponse::failure(3, MCPError::invalidParams("m", MCPValue::array({1}))),
         R"({"error":{"code":-32602,"data":[1],"message":"m"},"id":3,"jsonrpc":"2.0"})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(row.response), row.text);
        EXPECT_EQ(decoded<MCPResponse>(row.text), row.response);
    });
}

TEST(MCPResponse, is_refused_with_both_with_neither_and_without_identifier) {
    struct Row {
        const char* when;
        const char* text;
        DecodingError expected;
    };
    const DecodingError corrupted{DecodingError::DataCorrupted{badResponse}, "result"};
    const Row rows[] = {
        {"both", R"({"id":1,"result":1,"error":{"code":1,"message":"m"}})", corrupted},
        {"both, null", R"({"id":1,"result":null,"error":null})", corrupted},
        {"a null error beside a result", R"({"id":1,"result":1,"error":null})", corrupted},
        {"neither", R"({"id":1,"jsonrpc":"2.0"})", corrupted},
        {"a null error", R"({"id":1,"error":null})", {DecodingError::TypeMismatch{"an object"}, "error"}},
        {"no id", R"({"result":1})", {DecodingError::KeyNotFound{}, "id"}},
        {"a null id, which comes first", R"({"id":null})", {DecodingError::DataCorrupted{badID}, "id"}},
        {"jsonrpc is a number",
         R"({"jsonrpc":2,"id":1,"result":1})",
         {DecodingError::TypeMismatch{"a string"}, "jsonrpc"}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto response = decoded<MCPResponse>(row.text);
        ASSERT_FALSE(response);
        EXPECT_EQ(response.error(), row.expected) << response.error().description();
    });
}

TEST(MCPResponse, is_read_with_any_version) {
    EXPECT_EQ(decoded<MCPResponse>(R"({"id":1,"result":2})"), MCPResponse::result(1, 2));
    EXPECT_EQ(decoded<MCPResponse>(R"({"jsonrpc":"1.0","id":1,"result":2,"other":3})"), MCPResponse::result(1, 2));
}

TEST(MCPError, has_the_codes_of_JSONRPC) {
    struct Row {
        const char* when;
        MCPError error;
        std::int64_t constant;
        std::int64_t code;
    };
    const MCPValue data = MCPValue::array({1});
    const Row rows[] = {
        {"parse error", MCPError::parseError("m", data), MCPError::parseErrorCode, -32700},
        {"invalid request", MCPError::invalidRequest("m", data), MCPError::invalidRequestCode, -32600},
        {"method not found", MCPError::methodNotFound("m", data), MCPError::methodNotFoundCode, -32601},
        {"invalid params", MCPError::invalidParams("m", data), MCPError::invalidParamsCode, -32602},
        {"internal error", MCPError::internalError("m", data), MCPError::internalErrorCode, -32603},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(row.constant, row.code);
        EXPECT_EQ(row.error, (MCPError{row.code, "m", data}));
    });
    EXPECT_EQ(MCPError::parseError("m").data, std::nullopt);
}

TEST(MCPError, its_data_is_absent_when_missing_or_null) {
    struct Row {
        const char* when;
        const char* text;
        MCPError expected;
        const char* rewritten;
    };
    const Row rows[] = {
        {"missing", R"({"message":"m","code":1})", {1, "m", {}}, R"({"code":1,"message":"m"})"},
        {"null", R"({"code":1,"message":"m","data":null})", {1, "m", {}}, R"({"code":1,"message":"m"})"},
        {"false",
         R"({"code":1,"message":"m","data":false})",
         {1, "m", false},
         R"({"code":1,"data":false,"message":"m"})"},
        {"other members",
         R"({"code":1.0,"message":"","x":1,"data":{"a":null}})",
         {1, "", MCPValue::object({{"a", nullptr}})},
         R"({"code":1,"data":{"a":null},"message":""})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto error = decoded<MCPError>(row.text);
        ASSERT_TRUE(error);
        EXPECT_EQ(*error, row.expected);
        EXPECT_EQ(written(*error), row.rewritten);
    });
    for (const char* text : {R"({"message":"m"})", R"({"code":1})", R"({"code":1.5,"message":"m"})",
                             R"({"code":"1","message":"m"})", R"({"code":1,"message":null})", "[]"}) {
        EXPECT_FALSE(decoded<MCPError>(text)) << text;
    }
}

TEST(MCPMessages, compare_and_hash_by_every_field) {
    expectDistinct<MCPRequestID>({1, 2, "1", "2", ""});
    expectDistinct<MCPError>(
        {{1, "m", {}}, {2, "m", {}}, {1, "n", {}}, {1, "m", 1}, {1, "m", 2}, {1, "m", MCPValue{}}});
    expectDistinct<MCPRequest>(
        {{1, "m", 1}, {2, "m", 1}, {"1", "m", 1}, {1, "n", 1}, {1, "m", 2}, {1, "m", MCPValue{}}, {1, "m", {}}});
    expectDistinct<MCPNotification>({{"m", 1}, {"n", 1}, {"m", 2}, {"m", MCPValue{}}, {"m", {}}});
    const MCPError error{1, "m", {}};
    expectDistinct<MCPResponse>({MCPResponse::result(1, 1), MCPResponse::result(2, 1), MCPResponse::result("1", 1),
                                 MCPResponse::result(1, 2), MCPResponse::failure(1, error),
                                 MCPResponse::failure(1, {2, "m", {}}), MCPResponse::result(1, encode(error))});
}

TEST(MCPMessages, equal_records_hash_equally) {
    const MCPRequest request{1, "m", json(R"({"a":0.0,"b":1})")};
    const MCPRequest same{1, "m", MCPValue::object({{"b", 1}, {"a", json("0.0")}})};
    EXPECT_EQ(request, same);
    EXPECT_EQ(std::hash<MCPRequest>{}(request), std::hash<MCPRequest>{}(same));
    EXPECT_EQ(std::hash<MCPResponse>{}(MCPResponse::result(1, 0.0)),
              std::hash<MCPResponse>{}(MCPResponse::result(1, -0.0)));
}

TEST(MCPLine, a_result_that_is_text_becomes_the_line_of_its_response) {
    const MCPRequestID ids[] = {{7}, {-1}, {"seven"}, {"with \"quotes\" and a line\nfeed"}, {std::string(200, 'x')}};
    for (const MCPRequestID& id : ids) {
        for (const std::string& result : {"null"s, "[1,{}]"s, '"' + std::string(1'000, 'y') + '"'}) {
            Bytes expected;
            ASSERT_TRUE(appendLine(MCPResponse::result(id, json(result)), expected));
            for (const std::size_t dropped : {0U, 40U, 100U}) {
                Bytes text{std::string(dropped, '-') + result};
                text.removePrefix(dropped);
                EXPECT_EQ(resultLine(id, std::move(text)), expected);
            }
        }
    }
}

} // namespace
} // namespace VostelMCPKit
