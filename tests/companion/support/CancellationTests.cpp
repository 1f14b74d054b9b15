#include "companion/support/Cancellation.h"

#include <gtest/gtest.h>
#include <thread>

namespace vostel_companion {

TEST(Cancellation, is_never_taken_back) {
    Cancellation cancellation;
    EXPECT_FALSE(cancellation.isCancelled());
    cancellation.cancel();
    cancellation.cancel();
    EXPECT_TRUE(cancellation.isCancelled());
}

TEST(Cancellation, wakes_every_listener_once) {
    Cancellation cancellation;
    int first = 0;
    int second = 0;
    const Cancellation::Listener one{cancellation, [&] { ++first; }};
    const Cancellation::Listener two{cancellation, [&] { ++second; }};
    cancellation.cancel();
    cancellation.cancel();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TEST(Cancellation, wakes_a_listener_at_once_if_it_is_cancelled_already) {
    Cancellation cancellation;
    cancellation.cancel();
    int wakings = 0;
    const Cancellation::Listener listener{cancellation, [&] { ++wakings; }};
    EXPECT_EQ(wakings, 1);
}

TEST(Cancellation, does_not_wake_a_destroyed_listener) {
    Cancellation cancellation;
    int wakings = 0;
    {
        const Cancellation::Listener listener{cancellation, [&] { ++wakings; }};
    }
    cancellation.cancel();
    EXPECT_EQ(wakings, 0);
}

TEST(Cancellation, may_run_while_listeners_are_added_and_removed) {
    for (int round = 0; round < 200; ++round) {
        Cancellation cancellation;
        std::thread canceller{[&] { cancellation.cancel(); }};
        bool woken = false;
        {
            const Cancellation::Listener listener{cancellation, [&] { woken = true; }};
        }
        canceller.join();
        const Cancellation::Listener late{cancellation, [&] { woken = true; }};
        EXPECT_TRUE(woken);
    }
}

} // namespace vostel_companion
