#include "server/LineChannel.h"
#include "server/RunLoop.h"
#include "tests/support/ManualExecutor.h"

#include <gtest/gtest.h>
#include <thread>

namespace vostel_mcp {
namespace {

using vostel_tests::ManualExecutor;
using VostelMCPKit::Task;

using Lines = std::vector<std::string>;

Task<void> collect(LineChannel& channel, Lines* lines, bool* ended) {
    for (;;) {
        auto line = co_await channel.next();
        if (!line) break;
        lines->push_back(*std::move(line));
    }
    *ended = true;
}

class LineChannelTest : public testing::Test {
protected:
    void TearDown() override {
        channel.finish();
        executor.drain();
    }

    void consume() {
        spawn(collect(channel, &lines, &ended), executor);
        executor.drain();
    }

    ManualExecutor executor;
    LineChannel channel;
    Lines lines;
    bool ended = false;
};

TEST_F(LineChannelTest, lines_come_out_in_order_whether_the_consumer_waits_or_not) {
    channel.push({"a", "b"});
    channel.push({"c"});
    consume();
    EXPECT_EQ(lines, (Lines{"a", "b", "c"}));
    channel.push({"d", "e"});
    executor.drain();
    EXPECT_EQ(lines, (Lines{"a", "b", "c", "d", "e"}));
    EXPECT_FALSE(ended);
}

TEST_F(LineChannelTest, the_consumer_continues_on_its_own_executor) {
    consume();
    channel.push({"a"});
    EXPECT_EQ(lines, Lines{});
    executor.drain();
    EXPECT_EQ(lines, Lines{"a"});
}

TEST_F(LineChannelTest, a_push_without_lines_wakes_nobody) {
    consume();
    channel.push({});
    EXPECT_FALSE(executor.step());
    EXPECT_FALSE(ended);
}

TEST_F(LineChannelTest, an_empty_line_is_a_line) {
    channel.push({"", ""});
    consume();
    EXPECT_EQ(lines, (Lines{"", ""}));
}

TEST_F(LineChannelTest, the_end_comes_after_all_pushed_lines) {
    channel.push({"a"});
    channel.finish();
    consume();
    EXPECT_EQ(lines, Lines{"a"});
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, the_end_reaches_a_consumer_that_waits) {
    consume();
    channel.finish();
    executor.drain();
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, push_and_end_before_the_consumer_runs_again_lose_nothing) {
    consume();
    channel.push({"a"});
    channel.push({"b"});
    channel.finish();
    executor.drain();
    EXPECT_EQ(lines, (Lines{"a", "b"}));
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, every_next_after_the_end_is_the_end) {
    channel.finish();
    for (int time = 0; time < 3; ++time) {
        const auto next = executor.run(channel.next());
        ASSERT_TRUE(next);
        EXPECT_FALSE(*next);
    }
}

TEST_F(LineChannelTest, lines_cross_from_one_thread_to_another) {
    constexpr std::size_t count = 5'000;
    std::thread reader{[this] {
        for (std::size_t number = 0; number < count; ++number) channel.push({std::to_string(number)});
        channel.finish();
    }};
    RunLoop mainThread;
    mainThread.run(collect(channel, &lines, &ended));
    reader.join();
    ASSERT_EQ(lines.size(), count);
    for (std::size_t number = 0; number < count; ++number) ASSERT_EQ(lines[number], std::to_string(number));
}

} // namespace
} // namespace vostel_mcp
