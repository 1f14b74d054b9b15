#include "server/CallCancellation.h"
#include "tests/support/ManualExecutor.h"

#include <gtest/gtest.h>

namespace vostel_mcp {
namespace {

using vostel_tests::ManualExecutor;
using VostelMCPKit::Task;

class CallCancellationTest : public testing::Test {
protected:
    /// Runs a cancellation until it may be sent. Its executor continues it later.
    void send() {
        spawn(sending(call, &sent), executor);
        executor.drain();
    }

    ManualExecutor executor;
    CallCancellation call;
    int sent = 0;

private:
    static Task<void> sending(CallCancellation& call, int* sent) {
        co_await call.requestIsOut();
        ++*sent;
    }
};

TEST_F(CallCancellationTest, a_request_whose_writing_has_not_begun_is_not_sent_and_needs_no_cancellation) {
    EXPECT_FALSE(call.cancel());
    EXPECT_FALSE(call.mayLaunch());
    EXPECT_FALSE(call.mayBeginRequest());
    EXPECT_FALSE(call.cancel()) << "the same for a second cancellation";
}

TEST_F(CallCancellationTest, a_request_that_is_being_written_comes_before_its_cancellations) {
    ASSERT_TRUE(call.mayBeginRequest());
    EXPECT_TRUE(call.cancel());
    send();
    EXPECT_TRUE(call.cancel());
    send();
    EXPECT_EQ(sent, 0);
    call.endRequest();
    executor.drain();
    EXPECT_EQ(sent, 2);
}

TEST_F(CallCancellationTest, a_request_that_has_been_written_delays_no_cancellation) {
    ASSERT_TRUE(call.mayBeginRequest());
    call.endRequest();
    EXPECT_TRUE(call.cancel());
    send();
    EXPECT_EQ(sent, 1);
}

TEST_F(CallCancellationTest, a_call_that_is_cancelled_while_its_application_is_launched_is_still_sent) {
    ASSERT_TRUE(call.mayLaunch());
    EXPECT_TRUE(call.cancel());
    send();
    EXPECT_EQ(sent, 1) << "at once, whether the application listens or not";
    EXPECT_TRUE(call.mayBeginRequest());
}

TEST_F(CallCancellationTest, no_line_of_a_cancelled_call_begins) {
    int begun = 0;
    EXPECT_TRUE(call.lines().ifOpen([&] { ++begun; }));
    EXPECT_FALSE(call.cancel());
    EXPECT_FALSE(call.lines().ifOpen([&] { ++begun; }));
    EXPECT_EQ(begun, 1);
}

} // namespace
} // namespace vostel_mcp
