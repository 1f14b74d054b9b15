#include "companion/socket/CallRegistry.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;

namespace {

const CallRegistry::Time start{};

} // namespace

TEST(CallRegistry, a_cancellation_finds_its_call_and_no_other) {
    CallRegistry registry;
    const auto first = std::make_shared<Cancellation>();
    const auto second = std::make_shared<Cancellation>();
    registry.add("A", first, start);
    registry.add("B", second, start);
    registry.cancel("B", start);
    EXPECT_FALSE(first->isCancelled());
    EXPECT_TRUE(second->isCancelled());
}

TEST(CallRegistry, calls_that_share_an_id_are_cancelled_together_and_removed_one_by_one) {
    CallRegistry registry;
    const auto ended = std::make_shared<Cancellation>();
    const auto running = std::make_shared<Cancellation>();
    registry.add("A", ended, start);
    registry.add("A", running, start);
    registry.remove("A", ended);
    registry.cancel("A", start);
    EXPECT_FALSE(ended->isCancelled());
    EXPECT_TRUE(running->isCancelled());
}

TEST(CallRegistry, a_cancellation_that_came_before_its_request_still_counts) {
    struct Row {
        const char* when;
        std::chrono::seconds later;
        bool cancelled;
    };
    const Row rows[] = {{"at once", 0s, true}, {"while it is remembered", 59s, true}, {"long after", 60s, false}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        CallRegistry registry;
        registry.cancel("A", start);
        const auto call = std::make_shared<Cancellation>();
        registry.add("A", call, start + row.later);
        EXPECT_EQ(call->isCancelled(), row.cancelled);
    });
}

TEST(CallRegistry, an_early_cancellation_counts_for_one_call) {
    CallRegistry registry;
    registry.cancel("A", start);
    registry.add("A", std::make_shared<Cancellation>(), start);
    const auto later = std::make_shared<Cancellation>();
    registry.add("A", later, start);
    EXPECT_FALSE(later->isCancelled());
}

TEST(CallRegistry, too_many_unknown_ids_drop_only_the_oldest) {
    CallRegistry registry;
    for (std::size_t i = 0; i <= CallRegistry::remembered; ++i) registry.cancel(std::to_string(i), start);
    const auto oldest = std::make_shared<Cancellation>();
    registry.add("0", oldest, start);
    EXPECT_FALSE(oldest->isCancelled());
    const auto next = std::make_shared<Cancellation>();
    registry.add("1", next, start);
    EXPECT_TRUE(next->isCancelled());
}

TEST(CallRegistry, all_calls_can_be_cancelled_at_once) {
    CallRegistry registry;
    const auto first = std::make_shared<Cancellation>();
    const auto second = std::make_shared<Cancellation>();
    registry.add("A", first, start);
    registry.add("B", second, start);
    registry.cancelAll();
    EXPECT_TRUE(first->isCancelled());
    EXPECT_TRUE(second->isCancelled());
}

} // namespace vostel_companion
