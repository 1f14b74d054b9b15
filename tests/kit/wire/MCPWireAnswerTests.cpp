#include "kit/wire/MCPWireAnswer.h"
#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;

/// The payload of a frame, without its header.
std::string payloadOf(const Bytes& frame) {
    const auto cut = MCPWireFraming::extractFrame(frame.text());
    EXPECT_TRUE(cut && *cut && (*cut)->remainder.empty());
    return cut && *cut ? std::string{(*cut)->payload} : std::string{};
}

std::string responseWith(const std::string& result) {
    return R"({"kind":"response","payload":{"requestID":"7","result":)" + result + "}}";
}

constexpr const char* otherVersion =
    R"({"kind":"response","payload":{"error":{"app":4,"helper":3,"kind":"versionMismatch"},"requestID":"7"}})";

std::string failedAnswer(const std::string& text) {
    return responseWith(R"({"content":[{"text":")" + text + R"(","type":"text"}],"isError":true})");
}

/// A connection that brings `bytes`, at most `atOnce` at a time, and then ends.
auto connectionWith(std::string_view bytes, std::size_t atOnce) {
    return [rest = bytes, atOnce](char* room, std::size_t size) mutable {
        const std::string_view next = rest.substr(0, std::min(atOnce, size));
        std::ranges::copy(next, room);
        rest.remove_prefix(next.size());
        return static_cast<std::ptrdiff_t>(next.size());
    };
}

MCPToolOutcome runNothing(const MCPWireRequest&) { return MCPToolOutcome::failed("nothing"); }

TEST(MCPWireAnswer, a_result_that_cannot_be_sent_becomes_a_failure_that_says_so) {
    struct Row {
        const char* when;
        MCPWireResponse::Outcome outcome;
        std::string expected;
    };
    const Row rows[] = {
        {"a result", json("[1]"), responseWith("[1]")},
        {"an error", MCPWireError{MCPWireError::VersionMismatch{3, 4}}, otherVersion},
        {"not a finite number", MCPValue::array({std::numeric_limits<double>::infinity()}),
         failedAnswer("The result holds a number that is not finite.")},
        {"longer than a reader accepts", MCPValue{std::string(MCPWireFraming::maxFrameLength, 'a')},
         failedAnswer("The result is too large to be sent.")},
    };
    vostel_tests::forEachRow(
        rows, [](const Row& row) { EXPECT_EQ(payloadOf(MCPWireAnswer::encode({"7", row.outcome})), row.expected); });
}

TEST(MCPWireAnswer, the_longest_result_that_a_reader_accepts_is_sent) {
    const std::size_t around = responseWith(R"("")").size();
    const MCPValue longest{std::string(MCPWireFraming::maxFrameLength - around, 'a')};
    const Bytes frame = MCPWireAnswer::encode({"7", longest});
    EXPECT_EQ(frame.size(), MCPWireFraming::headerLength + MCPWireFraming::maxFrameLength);
}

TEST(MCPWireAnswer, an_id_that_fills_a_frame_gets_an_answer_that_its_own_reader_refuses) {
    const std::string id(MCPWireFraming::maxFrameLength, 'a');
    const Bytes frame = MCPWireAnswer::encode(id, MCPToolOutcome::text("words"));
    const auto refused = MCPWireFraming::extractFrame(frame.text());
    ASSERT_FALSE(refused);
}

TEST(MCPWireAnswer, an_outcome_is_rendered) {
    EXPECT_EQ(payloadOf(MCPWireAnswer::encode("7", MCPToolOutcome::failed("No such file."))),
              failedAnswer("No such file."));
}

TEST(MCPWireAnswer, one_call_is_served_when_its_frame_is_complete) {
    const MCPWireRequest request{wireProtocolVersion, {"a test", {}}, "models_list", MCPValue::object({}), "7"};
    const auto bytes = MCPWireFraming::encode(MCPWireInboundFrame{request});
    ASSERT_TRUE(bytes);
    int calls = 0;
    const auto run = [&](const MCPWireRequest& received) {
        ++calls;
        EXPECT_EQ(received, request);
        return MCPToolOutcome::failed("No model is installed.");
    };
    for (const std::size_t atOnce : {1U, 7U, 1'000'000U}) {
        SCOPED_TRACE(atOnce);
        calls = 0;
        const Bytes answer = MCPWireAnswer::serve(connectionWith(bytes->text(), atOnce), run);
        EXPECT_EQ(payloadOf(answer), failedAnswer("No model is installed."));
        EXPECT_EQ(calls, 1);
    }
}

TEST(MCPWireAnswer, only_a_call_of_this_version_is_run) {
    struct Row {
        const char* when;
        Bytes received;
        std::string expected;
    };
    const Row rows[] = {
        {"another version",
         MCPWireFraming::encode(R"({"kind":"request","payload":{"protocolVersion":3,"requestID":"7"}})"), otherVersion},
        {"too large", Bytes{"HTTP"},
         R"({"kind":"response","payload":{"error":{"declared":1213486160,"kind":"frameTooLarge","limit":67108864},)"
         R"("requestID":""}})"},
        {"a cancellation",
         MCPWireFraming::encode(R"({"kind":"cancellation","payload":{"protocolVersion":4,"requestID":"7"}})"), ""},
        {"nothing", Bytes{}, ""},
        {"a part of a frame", Bytes{std::string_view{"\0\0\0\2{", 5}}, ""},
        {"not JSON", MCPWireFraming::encode("{"), ""},
        {"not a frame", MCPWireFraming::encode("{}"), ""},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        const Bytes answer = MCPWireAnswer::serve(connectionWith(row.received.text(), 3), runNothing);
        if (row.expected.empty()) {
            EXPECT_TRUE(answer.empty());
        } else {
            EXPECT_EQ(payloadOf(answer), row.expected);
        }
    });
}

TEST(MCPWireAnswer, a_connection_that_fails_gets_no_answer) {
    const auto failing = [](char*, std::size_t) { return std::ptrdiff_t{-1}; };
    EXPECT_TRUE(MCPWireAnswer::serve(failing, runNothing).empty());
}

} // namespace
} // namespace VostelMCPKit
