#include "server/LineChannel.h"
#include "server/MainExecutor.h"
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
        start(collect(channel, &lines, &ended), executor);
        executor.drain();
    }

    ManualExecutor executor;
    LineChannel channel;
    Lines lines;
    bool ended = false;
};

TEST_F(LineChannelTest, LinesComeOutInOrderWhetherTheyOrTheConsumerCameFirst) {
    channel.push({"a", "b"});
    channel.push({"c"});
    consume();
    EXPECT_EQ(lines, (Lines{"a", "b", "c"}));
    channel.push({"d", "e"});
    executor.drain();
    EXPECT_EQ(lines, (Lines{"a", "b", "c", "d", "e"}));
    EXPECT_FALSE(ended);
}

TEST_F(LineChannelTest, TheConsumerGoesOnOnItsOwnExecutor) {
    consume();
    channel.push({"a"});
    EXPECT_EQ(lines, Lines{});
    executor.drain();
    EXPECT_EQ(lines, Lines{"a"});
}

TEST_F(LineChannelTest, APushWithoutLinesWakesNobody) {
    consume();
    channel.push({});
    EXPECT_FALSE(executor.step());
    EXPECT_FALSE(ended);
}

TEST_F(LineChannelTest, AnEmptyLineIsALine) {
    channel.push({"", ""});
    consume();
    EXPECT_EQ(lines, (Lines{"", ""}));
}

TEST_F(LineChannelTest, TheEndComesBehindTheLinesThatStillWait) {
    channel.push({"a"});
    channel.finish();
    consume();
    EXPECT_EQ(lines, Lines{"a"});
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, TheEndReachesAConsumerThatWaits) {
    consume();
    channel.finish();
    executor.drain();
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, PushAndEndBeforeTheConsumerRunsAgainLoseNothing) {
    consume();
    channel.push({"a"});
    channel.push({"b"});
    channel.finish();
    executor.drain();
    EXPECT_EQ(lines, (Lines{"a", "b"}));
    EXPECT_TRUE(ended);
}

TEST_F(LineChannelTest, EveryNextAfterTheEndIsTheEnd) {
    channel.finish();
    for (int time = 0; time < 3; ++time) {
        const auto next = executor.run(channel.next());
        ASSERT_TRUE(next);
        EXPECT_FALSE(*next);
    }
}

TEST_F(LineChannelTest, LinesCrossFromOneThreadToAnother) {
    constexpr std::size_t count = 5'000;
    std::thread reader{[this] {
        for (std::size_t number = 0; number < count; ++number) channel.push({std::to_string(number)});
        channel.finish();
    }};
    MainExecutor mainThread;
    mainThread.run(collect(channel, &lines, &ended));
    reader.join();
    ASSERT_EQ(lines.size(), count);
    for (std::size_t number = 0; number < count; ++number) ASSERT_EQ(lines[number], std::to_string(number));
}

} // namespace
} // namespace vostel_mcp
