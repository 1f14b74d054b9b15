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

TEST(BoundedPool, makes_objects_on_demand_and_lends_them_again) {
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

TEST(BoundedPool, a_cancelled_borrower_stops_waiting_and_delays_nobody) {
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

TEST(BoundedPool, a_waiting_borrower_learns_how_many_leases_come_before_it) {
    std::atomic<int> made = 0;
    Pool pool{2, counting(made)};
    Cancellation mine;
    std::vector<std::optional<Pool::Lease>> held;
    for (int i = 0; i < 2; ++i)
        held.push_back(pool.borrow(mine, [](std::size_t) { FAIL() << "it need not wait"; }).value());

    std::promise<void> firstWaits;
    std::promise<void> secondWaits;
    std::vector<std::size_t> firstTold;
    std::vector<std::size_t> secondTold;
    Cancellation first;
    auto waiting = std::async(std::launch::async, [&] {
        return pool.borrow(first, [&](std::size_t others) {
            firstTold.push_back(others);
            firstWaits.set_value();
        });
    });
    firstWaits.get_future().wait();
    Cancellation second;
    auto last = std::async(std::launch::async, [&] {
        return pool.borrow(second, [&](std::size_t others) {
            secondTold.push_back(others);
            if (secondTold.size() == 1) secondWaits.set_value();
        });
    });
    secondWaits.get_future().wait();
    first.cancel();
    EXPECT_FALSE(waiting.get()->has_value());
    held.clear();
    EXPECT_TRUE(last.get()->has_value());
    EXPECT_EQ(firstTold, (std::vector<std::size_t>{1}));
    EXPECT_EQ(secondTold.front(), 2U);
    EXPECT_LE(secondTold.size(), 2U) << "told again only when the number changes";
}

TEST(BoundedPool, if_an_object_cannot_be_made_the_borrower_gets_the_error_and_its_place_is_free) {
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

TEST(BoundedPool, tryBorrow_lends_only_what_nobody_waits_for) {
    std::atomic<int> made = 0;
    Pool pool{2, counting(made)};
    EXPECT_EQ(pool.limit(), 2U);
    Cancellation cancellation;
    auto first = pool.borrow(cancellation);
    auto second = pool.tryBorrow();
    ASSERT_TRUE(second && *second);
    EXPECT_EQ(***second, 2);
    EXPECT_FALSE(pool.isWanted());
    EXPECT_FALSE(*pool.tryBorrow()) << "all are lent";

    std::promise<void> waits;
    auto third = std::async(std::launch::async, [&] {
        const auto lease = pool.borrow(cancellation, [&](std::size_t) { waits.set_value(); });
        return ***lease;
    });
    waits.get_future().wait();
    EXPECT_TRUE(pool.isWanted());
    second = std::nullopt;
    EXPECT_EQ(third.get(), 2);
    EXPECT_FALSE(pool.isWanted());
}

TEST(BoundedPool, destroys_objects_that_were_not_borrowed_for_a_time) {
    std::chrono::steady_clock::time_point now;
    const auto alive = std::make_shared<int>();
    using SharedPool = BoundedPool<std::shared_ptr<int>, std::string>;
    SharedPool pool{3, [&] { return std::make_unique<std::shared_ptr<int>>(alive); }, [&] { return now; }};
    Cancellation cancellation;
    {
        const auto one = pool.borrow(cancellation);
        const auto two = pool.borrow(cancellation);
    }
    now += std::chrono::minutes{1};
    { const auto used = pool.borrow(cancellation); }
    const auto lent = pool.borrow(cancellation);
    now += std::chrono::minutes{1};
    EXPECT_EQ(alive.use_count(), 3);
    EXPECT_EQ(pool.destroyIdle(std::chrono::minutes{2}), 1U) << "one was used since, and is lent now";
    EXPECT_EQ(alive.use_count(), 2);
    EXPECT_EQ(pool.destroyIdle(std::chrono::minutes{0}), 0U);
}

} // namespace vostel_companion
