#include "companion/support/BoundedPool.h"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <thread>

namespace vostel_companion {

namespace {

using Pool = BoundedPool<int, std::string>;

/// Makes 1, 2, 3 ...
Pool::Make counting(std::atomic<int>& made) {
    return [&made]() -> std::expected<std::unique_ptr<int>, std::string> { return std::make_unique<int>(++made); };
}

} // namespace

TEST(BoundedPool, makes_things_on_demand_and_lends_them_again) {
    std::atomic<int> made = 0;
    Pool pool{2, counting(made)};
    Cancellation cancellation;
    {
        const auto first = pool.borrow(cancellation);
        EXPECT_EQ(***first, 1);
        const auto second = pool.borrow(cancellation);
        EXPECT_EQ(***second, 2);
    }
    const auto again = pool.borrow(cancellation);
    EXPECT_LE(***again, 2);
    EXPECT_EQ(made, 2);
}

TEST(BoundedPool, never_lends_more_than_its_limit_at_a_time) {
    std::atomic<int> made = 0;
    std::atomic<int> lent = 0;
    std::atomic<int> most = 0;
    Pool pool{3, counting(made)};
    std::vector<std::thread> borrowers;
    for (int i = 0; i < 12; ++i) {
        borrowers.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                Cancellation cancellation;
                const auto lease = pool.borrow(cancellation);
                const int now = ++lent;
                int seen = most;
                while (now > seen && !most.compare_exchange_weak(seen, now)) {}
                --lent;
            }
        });
    }
    for (std::thread& borrower : borrowers) borrower.join();
    EXPECT_LE(most, 3);
    EXPECT_LE(made, 3);
}

TEST(BoundedPool, a_cancelled_borrower_stops_waiting_and_holds_nobody_up) {
    std::atomic<int> made = 0;
    Pool pool{1, counting(made)};
    Cancellation mine;
    auto held = pool.borrow(mine);

    Cancellation givesUp;
    auto first = std::async(std::launch::async, [&] { return pool.borrow(givesUp)->has_value(); });
    Cancellation waits;
    auto second = std::async(std::launch::async, [&] { return pool.borrow(waits)->has_value(); });
    givesUp.cancel();
    EXPECT_FALSE(first.get());
    { const auto returned = *std::move(held); }
    EXPECT_TRUE(second.get());
}

TEST(BoundedPool, a_failure_to_make_a_thing_is_the_borrowers_and_frees_the_place) {
    bool broken = true;
    Pool pool{1, [&]() -> std::expected<std::unique_ptr<int>, std::string> {
                  if (broken) return std::unexpected("broken");
                  return std::make_unique<int>(7);
              }};
    Cancellation cancellation;
    const auto failed = pool.borrow(cancellation);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), "broken");
    broken = false;
    const auto lease = pool.borrow(cancellation);
    ASSERT_TRUE(lease);
    EXPECT_EQ(***lease, 7);
}

} // namespace vostel_companion
