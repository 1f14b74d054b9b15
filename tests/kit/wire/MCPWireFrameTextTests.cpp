#include "kit/wire/MCPWireFrameText.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <random>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::written;

/// `payload` read as JSON and then decoded.
std::expected<MCPWireOutboundFrame, DecodingError> readByDocument(std::string_view payload) {
    const auto value = readJSON(payload);
    if (!value) return std::unexpected(value.error());
    return decode<MCPWireOutboundFrame>(*value);
}

/// Progress as our encoder writes it, with `members` as its payload.
std::string progressText(const std::string& members) { return R"({"kind":"progress","payload":{)" + members + "}}"; }

TEST(MCPWireFrameText, reads_progress) {
    struct Row {
        const char* when;
        std::string members;
        MCPWireProgress expected;
    };
    const Row rows[] = {
        {"without a message", R"("fraction":0.5,"requestID":"0A")", {"0A", 0.5, {}}},
        {"with a message", R"("fraction":0.125,"message":"Слушаю…","requestID":"0A")", {"0A", 0.125, "Слушаю…"}},
        {"an empty message", R"("fraction":0,"message":"","requestID":"")", {"", 0, ""}},
        {"finished", R"("fraction":1,"requestID":"0A")", {"0A", 1, {}}},
        {"more than one", R"("fraction":1.5,"requestID":"0A")", {"0A", 1.5, {}}},
        {"all digits", R"("fraction":0.1000000000000000055511151231257827,"requestID":"0A")", {"0A", 0.1, {}}},
        {"an exponent", R"("fraction":5e-1,"requestID":"0A")", {"0A", 0.5, {}}},
        {"less than zero", R"("fraction":-0.5,"requestID":"0A")", {"0A", -0.5, {}}},
        {"escapes", R"("fraction":0.5,"message":"a\n\"b\"","requestID":"\u0030A")", {"0A", 0.5, "a\n\"b\""}},
        {"a null message", R"("fraction":0.5,"message":null,"requestID":"0A")", {"0A", 0.5, {}}},
        {"another order", R"("requestID":"0A","fraction":0.5)", {"0A", 0.5, {}}},
        {"white space", R"( "fraction" : 0.5, "requestID":"0A" )", {"0A", 0.5, {}}},
        {"a repeated key", R"("fraction":0.5,"requestID":"0A","requestID":"0B")", {"0B", 0.5, {}}},
        {"an unknown key", R"("fraction":0.5,"requestID":"0A","phase":2)", {"0A", 0.5, {}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(readOutboundFrame(progressText(row.members)), MCPWireOutboundFrame{row.expected});
    });
}

TEST(MCPWireFrameText, reads_what_our_encoder_writes) {
    const MCPWireOutboundFrame frames[] = {
        {MCPWireProgress{"0A", 0.1, "half \t way"}},
        {MCPWireProgress{"0A", 1e-7, {}}},
        {MCPWireResponse{"0A", MCPValue{nullptr}}},
        {MCPWireResponse{"0A", MCPWireError{MCPWireError::VersionMismatch{4, 5}}}},
    };
    for (const MCPWireOutboundFrame& frame : frames) {
        SCOPED_TRACE(written(frame));
        EXPECT_EQ(readOutboundFrame(written(frame)), frame);
    }
}

TEST(MCPWireFrameText, reads_what_the_server_sends) {
    const MCPWireInboundFrame frames[] = {
        {MCPWireRequest{4, {"Some Client", "1.0"}, "tool", MCPValue::object({{"a", 1}}), "0A"}},
        {MCPWireCancellation{4, "0A"}},
        {MCPWireCancellation{5, "0A"}},
    };
    for (const MCPWireInboundFrame& frame : frames) {
        SCOPED_TRACE(written(frame));
        EXPECT_EQ(readInboundFrame(written(frame)), frame);
    }
}

TEST(MCPWireFrameText, a_request_of_another_version_is_answered_whatever_its_shape) {
    struct Row {
        const char* when;
        std::string payload;
        MCPWireResponse answer;
    };
    const auto mismatch = [](std::int64_t version) {
        return MCPWireError{MCPWireError::VersionMismatch{.helper = version, .app = 4}};
    };
    const Row rows[] = {
        {"our shape",
         R"({"kind":"request","payload":{"arguments":{},"clientInfo":{"name":"c"},"protocolVersion":5,)"
         R"("requestID":"0A","tool":"t"}})",
         {"0A", mismatch(5)}},
        {"another shape",
         R"({"kind":"request","payload":{"protocolVersion":3,"requestID":"0A"}})",
         {"0A", mismatch(3)}},
        {"no id", R"({"kind":"request","payload":{"protocolVersion":0}})", {"", mismatch(0)}},
        {"an id of another type",
         R"({"kind":"request","payload":{"protocolVersion":-1,"requestID":7}})",
         {"", mismatch(-1)}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto frame = readInboundFrame(row.payload);
        ASSERT_FALSE(frame);
        EXPECT_EQ(frame.error(), MCPWireInboundFailure{row.answer});
    });
}

TEST(MCPWireFrameText, what_is_not_an_inbound_frame_fails_like_decoding_it) {
    const std::string payloads[] = {
        "",
        "{",
        "[]",
        R"({"kind":"request"})",
        R"({"kind":"response","payload":{"requestID":"0A","result":1}})",
        R"({"kind":"request","payload":[]})",
        R"({"kind":"request","payload":{"protocolVersion":4,"requestID":"0A"}})",
        R"({"kind":"request","payload":{"protocolVersion":"5","requestID":"0A"}})",
        R"({"kind":"request","payload":{"protocolVersion":5.5,"requestID":"0A"}})",
        R"({"kind":"cancellation","payload":{"protocolVersion":5}})",
    };
    for (const std::string& payload : payloads) {
        SCOPED_TRACE(payload);
        const auto document = readJSON(payload);
        const DecodingError expected = document ? decode<MCPWireInboundFrame>(*document).error() : document.error();
        const auto frame = readInboundFrame(payload);
        ASSERT_FALSE(frame);
        EXPECT_EQ(frame.error(), MCPWireInboundFailure{expected});
    }
}

TEST(MCPWireFrameText, refuses_what_decoding_refuses_and_for_the_same_reason) {
    const std::string texts[] = {
        "",
        progressText(R"("fraction":00.5,"requestID":"0A")"),
        progressText(R"("fraction":0.,"requestID":"0A")"),
        progressText(R"("fraction":"0.5","requestID":"0A")"),
        progressText(R"("fraction":0.5,"requestID":7)"),
        progressText(R"("fraction":0.5)"),
        progressText(R"("fraction":0.5,"message":"ends here)"),
        progressText("\"fraction\":0.5,\"message\":\"\xC3\",\"requestID\":\"0A\""),
        progressText("\"fraction\":0.5,\"message\":\"\n\",\"requestID\":\"0A\""),
        progressText(R"("fraction":0.5,"requestID":"0A")") + "}",
        progressText(R"("fraction":0.5,"requestID":"0A")").substr(0, 50),
        R"({"kind":"notice","payload":{}})",
    };
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const auto frame = readOutboundFrame(text);
        ASSERT_FALSE(frame);
        EXPECT_EQ(frame, readByDocument(text));
    }
}

TEST(MCPWireFrameText, equals_decoding_whichever_byte_is_changed) {
    const std::string text = progressText(R"("fraction":0.25,"message":"zwölf","requestID":"0A")");
    std::mt19937 random{7};
    for (std::size_t damaged = 0; damaged < text.size(); ++damaged) {
        for (int attempt = 0; attempt < 40; ++attempt) {
            std::string other = text;
            other[damaged] = static_cast<char>(random());
            ASSERT_EQ(readOutboundFrame(other), readByDocument(other)) << other;
        }
        const std::string shorter = text.substr(0, damaged);
        ASSERT_EQ(readOutboundFrame(shorter), readByDocument(shorter)) << shorter;
    }
}

TEST(MCPWireFrameText, the_parts_of_progress_in_our_own_form_are_found_as_text) {
    struct Row {
        const char* when;
        std::string payload;
        std::optional<MCPWireProgressText> parts;
    };
    const auto of = [](const char* fraction) {
        return progressText(R"("fraction":)" + std::string{fraction} + R"(,"requestID":"0A")");
    };
    const Row rows[] = {
        {"without a message", of("0.5"), {{"0.5", {}, "0A"}}},
        {"with a message",
         progressText(R"("fraction":0.125,"message":"Слушаю…","requestID":"0A")"),
         {{"0.125", "\"Слушаю…\"", "0A"}}},
        {"empty texts", progressText(R"("fraction":0,"message":"","requestID":"")"), {{"0", "\"\"", ""}}},
        {"finished", of("1"), {{"1", {}, "0A"}}},
        {"more than one", of("1.5"), {{"1.5", {}, "0A"}}},
        {"a fraction that is written with an exponent", of("1e-07"), {}},
        {"a fraction that would be written with an exponent", of("0.0000001"), {}},
        {"a zero at its end", of("0.50"), {}},
        {"a zero at its beginning", of("01"), {}},
        {"no digit after the point", of("0."), {}},
        {"more digits than a double has", of("0.1000000000000000055511151231257827"), {}},
        {"an integer that a double cannot hold", of("1234567890123456789"), {}},
        {"less than zero", of("-0.5"), {}},
        {"an escape", progressText(R"("fraction":0.5,"message":"a\n","requestID":"0A")"), {}},
        {"an escape in the ID", progressText(R"("fraction":0.5,"requestID":"\u0030A")"), {}},
        {"a null message", progressText(R"("fraction":0.5,"message":null,"requestID":"0A")"), {}},
        {"another order", progressText(R"("requestID":"0A","fraction":0.5)"), {}},
        {"white space", progressText(R"("fraction": 0.5,"requestID":"0A")"), {}},
        {"an unknown key", progressText(R"("fraction":0.5,"requestID":"0A","zone":2)"), {}},
        {"a line break", progressText("\"fraction\":0.5,\"message\":\"\n\",\"requestID\":\"0A\""), {}},
        {"no UTF-8", progressText("\"fraction\":0.5,\"message\":\"\xC3\",\"requestID\":\"0A\""), {}},
        {"one closing too few", R"({"kind":"progress","payload":{"fraction":0.5,"requestID":"0A"})", {}},
        {"a response", R"({"kind":"response","payload":{"requestID":"0A","result":null}})", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(canonicalProgress(row.payload), row.parts); });
}

TEST(MCPWireFrameText, the_result_of_a_response_in_our_own_form_is_found_as_text) {
    struct Row {
        const char* when;
        std::string payload;
        std::optional<std::string_view> result;
    };
    const Row rows[] = {
        {"an object", R"({"kind":"response","payload":{"requestID":"0A","result":{"a":[1,{}]}}})", R"({"a":[1,{}]})"},
        {"a scalar", R"({"kind":"response","payload":{"requestID":"","result":null}})", "null"},
        {"an error", R"({"kind":"response","payload":{"error":{"kind":"versionMismatch"},"requestID":"0A"}})", {}},
        {"progress", progressText(R"("fraction":0.5,"requestID":"0A")"), {}},
        {"white space in the result", R"({"kind":"response","payload":{"requestID":"0A","result":[1, 2]}})", {}},
        {"white space after the frame", R"({"kind":"response","payload":{"requestID":"0A","result":1}} )", {}},
        {"a member after the result", R"({"kind":"response","payload":{"requestID":"0A","result":1,"zone":2}})", {}},
        {"a member after the payload", R"({"kind":"response","payload":{"requestID":"0A","result":1},"zone":2}})", {}},
        {"no result", R"({"kind":"response","payload":{"requestID":"0A","result":}})", {}},
        {"one closing too few", R"({"kind":"response","payload":{"requestID":"0A","result":1})", {}},
        {"one closing too many", R"({"kind":"response","payload":{"requestID":"0A","result":1}}})", {}},
        {"an ID that is not UTF-8", "{\"kind\":\"response\",\"payload\":{\"requestID\":\"\xC3\",\"result\":1}}", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(canonicalResult(row.payload), row.result); });
}

TEST(MCPWireFrameText, a_result_found_as_text_is_the_text_of_the_result_whichever_byte_is_changed) {
    const std::string text = R"({"kind":"response","payload":{"requestID":"0A","result":{"a":[0.5,"zwölf"],"b":{}}}})";
    ASSERT_TRUE(canonicalResult(text));
    std::mt19937 random{8};
    for (std::size_t damaged = 0; damaged < text.size(); ++damaged) {
        for (int attempt = 0; attempt < 40; ++attempt) {
            std::string other = text;
            other[damaged] = static_cast<char>(random());
            const auto result = canonicalResult(other);
            if (!result) continue;
            const auto frame = readByDocument(other);
            ASSERT_TRUE(frame) << other;
            ASSERT_EQ(written(*frame), other);
            ASSERT_EQ(written(std::get<MCPValue>(std::get<MCPWireResponse>(frame->is).outcome)), *result);
        }
    }
}

TEST(MCPWireFrameText, the_result_of_a_response_in_any_form_is_rewritten) {
    struct Row {
        const char* when;
        std::string payload;
        std::optional<std::string> result;
    };
    const Row rows[] = {
        {"our own form", R"({"kind":"response","payload":{"requestID":"0A","result":{"a":[1,{}]}}})",
         R"({"a":[1,{}]})"},
        {"another order", R"({"payload":{"result":{"b":1,"a":[]},"requestID":"0A"},"kind":"response"})",
         R"({"a":[],"b":1})"},
        {"white space", R"( {"kind" : "response","payload":{"requestID":"0A","result":[1, 2]}} )", "[1,2]"},
        {"an escape that is not needed", R"({"kind":"respons\u0065","payload":{"requestID":"0A","result":1.0}})", "1"},
        {"a member after the result", R"({"kind":"response","payload":{"requestID":"0A","result":1,"zone":2}})", "1"},
        {"a member after the payload", R"({"kind":"response","payload":{"requestID":"0A","result":{}},"zone":{}})",
         "{}"},
        {"two results, which only a value can tell apart",
         R"({"kind":"response","payload":{"requestID":"0A","result":1,"result":2}})",
         {}},
        {"a result and an error",
         R"({"kind":"response","payload":{"error":{"kind":"frameTooLarge"},"requestID":"0A","result":1}})",
         {}},
        {"no ID", R"({"kind":"response","payload":{"result":1}})", {}},
        {"progress with a result", progressText(R"("fraction":0.5,"requestID":"0A","result":1)"), {}},
        {"no JSON after the result", R"({"kind":"response","payload":{"requestID":"0A","result":[1]}]})", {}},
        {"an error", R"({"kind":"response","payload":{"error":{"kind":"versionMismatch"},"requestID":"0A"}})", {}},
        {"progress", progressText(R"("fraction":0.5,"requestID":"0A")"), {}},
        {"no JSON", R"({"kind":"response","payload":{"requestID":"0A","result":[1,]}})", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto result = rewrittenResult(row.payload);
        ASSERT_EQ(result.has_value(), row.result.has_value());
        EXPECT_EQ(result ? result->text() : "", row.result.value_or(""));
    });
}

} // namespace
} // namespace VostelMCPKit
