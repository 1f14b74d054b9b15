#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFraming.h"
#include "tests/support/Frame.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace VostelMCPKit {
namespace {

void receive(MCPWireFrameBuffer& buffer, std::string_view bytes) {
    std::memcpy(buffer.room(bytes.size()), bytes.data(), bytes.size());
    buffer.grow(bytes.size());
}

TEST(MCPWireFrameBuffer, frames_come_out_in_order_whatever_the_pieces) {
    const std::vector<std::string> payloads{"first", "", "{\"a\":1}", std::string(300, 'x'), "last"};
    std::string stream;
    for (const std::string& payload : payloads) stream += vostel_tests::frame(payload);
    for (std::size_t length = 1; length <= stream.size(); ++length) {
        MCPWireFrameBuffer buffer;
        std::vector<std::string> found;
        for (std::size_t offset = 0; offset < stream.size(); offset += length) {
            receive(buffer, std::string_view{stream}.substr(offset, length));
            while (true) {
                const auto payload = buffer.next();
                ASSERT_TRUE(payload);
                if (!*payload) break;
                found.emplace_back(**payload);
            }
        }
        EXPECT_EQ(found, payloads) << length;
        EXPECT_TRUE(buffer.empty()) << length;
    }
}

TEST(MCPWireFrameBuffer, all_frames_of_one_read_are_views_of_the_same_bytes) {
    MCPWireFrameBuffer buffer;
    receive(buffer, std::string_view{"\0\0\0\1a\0\0\0\1b\0\0\0\1", 14});
    const auto first = buffer.next();
    const auto second = buffer.next();
    const auto third = buffer.next();
    ASSERT_TRUE(first && *first && second && *second && third);
    EXPECT_EQ(**first, "a");
    EXPECT_EQ(**second, "b");
    EXPECT_EQ(*third, std::nullopt);
    EXPECT_FALSE(buffer.empty());
}

TEST(MCPWireFrameBuffer, a_frame_that_is_too_large_ends_the_reading) {
    MCPWireFrameBuffer buffer;
    receive(buffer, std::string_view{"\0\0\0\1a\xFF\xFF\xFF\xFF", 9});
    const auto first = buffer.next();
    ASSERT_TRUE(first && *first);
    EXPECT_EQ(**first, "a");
    for (int call = 0; call < 2; ++call) {
        const auto second = buffer.next();
        ASSERT_FALSE(second);
        EXPECT_EQ(second.error(), (MCPWireError{MCPWireError::FrameTooLarge{4'294'967'295, 67'108'864}}));
        receive(buffer, "more");
    }
}

TEST(MCPWireFrameBuffer, memory_is_held_from_the_first_byte_until_it_is_given_back) {
    MCPWireFrameBuffer buffer;
    EXPECT_EQ(buffer.capacity(), 0U);
    EXPECT_TRUE(buffer.empty());
    receive(buffer, std::string_view{"\0\0\0\1a", 5});
    EXPECT_GE(buffer.capacity(), 5U);
    EXPECT_FALSE(buffer.empty());
    EXPECT_TRUE(buffer.next());
    EXPECT_TRUE(buffer.empty());
    buffer = {};
    EXPECT_EQ(buffer.capacity(), 0U);
    EXPECT_TRUE(buffer.empty());
}

} // namespace
} // namespace VostelMCPKit
