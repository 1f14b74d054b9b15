#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "tests/support/Frame.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using namespace std::string_view_literals;
using MCPWireFraming::extractFrame;
using MCPWireFraming::Frame;

TEST(MCPWireFraming, its_constants_are_those_of_the_protocol) {
    EXPECT_EQ(MCPWireFraming::headerLength, 4U);
    EXPECT_EQ(MCPWireFraming::maxFrameLength, 67'108'864U);
    EXPECT_EQ(MCPWireFraming::maxFrameLength, 0x4000000U);
    EXPECT_EQ(wireProtocolVersion, 4);
}

TEST(MCPWireFraming, a_frame_is_its_length_and_its_payload) {
    struct Row {
        const char* when;
        std::string payload;
        std::string_view header;
    };
    const Row rows[] = {
        {"nothing", "", "\0\0\0\0"sv},
        {"one byte", "a", "\0\0\0\x01"sv},
        {"bytes of any value", std::string{"\xFF\0\n\x80", 4}, "\0\0\0\x04"sv},
        {"the last length of one byte", std::string(255, 'a'), "\0\0\0\xFF"sv},
        {"the first length of two bytes", std::string(256, 'a'), "\0\0\x01\0"sv},
        {"a length of three bytes", std::string(0x012345, 'a'), "\0\x01\x23\x45"sv},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const Bytes bytes = MCPWireFraming::encode(row.payload);
        EXPECT_EQ(bytes.text(), std::string{row.header} + row.payload);
        const auto frame = extractFrame(bytes.text());
        ASSERT_TRUE(frame);
        EXPECT_EQ(*frame, (Frame{row.payload, ""}));
    });
}

TEST(MCPWireFraming, a_header_is_written_for_any_length_of_32_bits) {
    struct Row {
        const char* when;
        std::size_t length;
        std::string_view header;
    };
    const Row rows[] = {
        {"the most that a reader accepts", 67'108'864, "\x04\0\0\0"sv},
        {"more than a reader accepts", 67'108'865, "\x04\0\0\x01"sv},
        {"every byte its own", 0x01020304, "\x01\x02\x03\x04"sv},
        {"the most of all", 0xFFFFFFFF, "\xFF\xFF\xFF\xFF"sv},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        char header[6] = "-----";
        MCPWireFraming::writeHeader(row.length, header + 1);
        EXPECT_EQ((std::string_view{header, 6}), "-" + std::string{row.header} + std::string(1, '\0'));
    });
}

TEST(MCPWireFramingDeathTest, a_length_beyond_32_bits_ends_the_process) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    char header[4];
    EXPECT_DEATH(MCPWireFraming::writeHeader(std::size_t{1} << 32, header), "");
}

TEST(MCPWireFraming, a_record_is_framed_as_its_JSON_text) {
    const MCPWireInboundFrame cancellation{MCPWireCancellation{4, "0A"}};
    const auto inbound = MCPWireFraming::encode(cancellation);
    ASSERT_TRUE(inbound);
    EXPECT_EQ(*inbound, MCPWireFraming::encode(vostel_tests::written(cancellation)));

    const MCPWireOutboundFrame response{MCPWireResponse{"0A", MCPValue::object({{"text", std::string(300, 'x')}})}};
    const auto outbound = MCPWireFraming::encode(response);
    ASSERT_TRUE(outbound);
    EXPECT_EQ(*outbound, MCPWireFraming::encode(vostel_tests::written(response)));
}

TEST(MCPWireFraming, a_record_with_a_number_that_is_not_finite_has_no_frame) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(MCPWireFraming::encode(MCPWireOutboundFrame{MCPWireProgress{"0A", infinity, {}}}));
    EXPECT_FALSE(MCPWireFraming::encode(MCPWireOutboundFrame{MCPWireResponse{"0A", MCPValue{infinity}}}));
    EXPECT_FALSE(MCPWireFraming::encode(MCPWireInboundFrame{MCPWireRequest{4, {}, "tool", infinity, "0A"}}));
}

TEST(MCPWireFraming, a_request_whose_arguments_are_text_is_the_same_frame) {
    for (const char* arguments : {"{}", "null", R"({"arguments":null})", R"([1.5,"é"])"}) {
        SCOPED_TRACE(arguments);
        MCPWireRequest request{4, {"\"arguments\":null", "1.0"}, "tool", vostel_tests::json(arguments), "0A"};
        const auto expected = MCPWireFraming::encode(MCPWireInboundFrame{request});
        request.arguments = "any";
        EXPECT_EQ(MCPWireFraming::encode(request, Bytes{arguments}), expected);
    }
}

TEST(MCPWireFraming, cuts_the_first_frame_off_once_it_is_complete) {
    struct Row {
        const char* when;
        std::string_view buffer;
        std::optional<Frame> expected;
    };
    const Row rows[] = {
        {"nothing", ""sv, {}},
        {"three bytes", "\0\0\0"sv, {}},
        {"a header alone", "\0\0\0\x05"sv, {}},
        {"a byte too few",
         "\0\0\0\x05"
         "abcd"sv,
         {}},
        {"just enough",
         "\0\0\0\x05"
         "abcde"sv,
         Frame{"abcde", ""}},
        {"a byte of the next",
         "\0\0\0\x05"
         "abcde\0"sv,
         Frame{"abcde", "\0"sv}},
        {"an empty frame", "\0\0\0\0"sv, Frame{"", ""}},
        {"an empty frame and another", "\0\0\0\0\0\0\0\x01x"sv, Frame{"", "\0\0\0\x01x"sv}},
        {"the longest length that is accepted, before its payload has come", "\x04\0\0\0x"sv, {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto frame = extractFrame(row.buffer);
        ASSERT_TRUE(frame);
        EXPECT_EQ(*frame, row.expected);
    });
}

TEST(MCPWireFraming, refuses_a_length_beyond_the_limit_at_the_header) {
    struct Row {
        const char* when;
        std::string_view buffer;
        std::int64_t declared;
    };
    const Row rows[] = {
        {"one too many, nothing after it", "\x04\0\0\x01"sv, 67'108'865},
        {"one too many, something after it", "\x04\0\0\x01{}"sv, 67'108'865},
        {"a length that is not negative", "\x80\0\0\0"sv, 2'147'483'648},
        {"the largest length", "\xFF\xFF\xFF\xFF"sv, 4'294'967'295},
        {"text in place of a header", "HTTP"sv, 1'213'486'160},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto frame = extractFrame(row.buffer);
        ASSERT_FALSE(frame);
        EXPECT_EQ(frame.error(), (MCPWireError{MCPWireError::FrameTooLarge{row.declared, 67'108'864}}));
    });
}

TEST(MCPWireFraming, accepts_a_frame_of_exactly_the_limit) {
    const Bytes bytes = MCPWireFraming::encode(std::string(67'108'864, 'a'));
    const auto frame = extractFrame(bytes.text());
    ASSERT_TRUE(frame && *frame);
    EXPECT_EQ((*frame)->payload.size(), 67'108'864U);
    EXPECT_EQ((*frame)->payload.data(), bytes.data() + 4);
    EXPECT_TRUE((*frame)->remainder.empty());
}

TEST(MCPWireFraming, frames_come_out_in_order_whatever_the_pieces) {
    const std::vector<std::string> payloads{"first", "", "{\"a\":1}", std::string(300, 'x'), "last"};
    std::string stream;
    for (const std::string& payload : payloads) stream += vostel_tests::frame(payload);
    for (std::size_t length = 1; length <= stream.size(); ++length) {
        std::vector<std::string> found;
        std::string buffer;
        for (std::size_t offset = 0; offset < stream.size(); offset += length) {
            buffer += stream.substr(offset, length);
            for (;;) {
                const auto frame = extractFrame(buffer);
                ASSERT_TRUE(frame);
                if (!*frame) break;
                found.emplace_back((*frame)->payload);
                buffer = std::string{(*frame)->remainder};
            }
        }
        EXPECT_EQ(found, payloads) << length;
        EXPECT_TRUE(buffer.empty());
    }
}

TEST(MCPWireVersionLogic, any_difference_is_a_mismatch) {
    struct Row {
        const char* when;
        std::int64_t requestVersion;
        std::int64_t knownVersion;
    };
    const Row rows[] = {
        {"a newer application", 4, 5}, {"an older application", 4, 3}, {"no version", 0, 4}, {"a negative one", -4, 4}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto checked =
            MCPWireVersionLogic::validate({.requestVersion = row.requestVersion, .knownVersion = row.knownVersion});
        ASSERT_FALSE(checked);
        EXPECT_EQ(checked.error(), (MCPWireError{MCPWireError::VersionMismatch{row.requestVersion, row.knownVersion}}));
    });
    EXPECT_TRUE(MCPWireVersionLogic::validate({.requestVersion = 4, .knownVersion = 4}));
    EXPECT_TRUE(MCPWireVersionLogic::validate({.requestVersion = 5, .knownVersion = 5}));
}

} // namespace
} // namespace VostelMCPKit
