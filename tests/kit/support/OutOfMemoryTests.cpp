#include "kit/support/outOfMemory.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

TEST(OutOfMemory, only_work_that_needs_too_much_memory_fails) {
    const auto needed = [](bool muchMore) {
        return withinMemory(
            [&] {
                if (muchMore) outOfMemory();
                return std::string{"done"};
            },
            [] { return std::string{"failed"}; });
    };
    EXPECT_EQ(needed(false), "done");
    EXPECT_EQ(needed(true), "failed");
    EXPECT_EQ(needed(false), "done");
}

TEST(OutOfMemory, the_end_of_an_inner_scope_does_not_end_the_outer_one) {
    const bool failed = withinMemory(
        [] {
            withinMemory([] {}, [] {});
            outOfMemory();
            return false;
        },
        [] { return true; });
    EXPECT_TRUE(failed);
}

TEST(OutOfMemoryDeathTest, outside_of_a_scope_the_process_ends_after_the_given_function) {
    EXPECT_EXIT(
        {
            onOutOfMemory([] { std::_Exit(7); });
            // Uses up the reserve.
            outOfMemory();
            outOfMemory();
        },
        testing::ExitedWithCode(7), "");
    EXPECT_DEATH(outOfMemory(), "");
}

TEST(OutOfMemoryDeathTest, outside_of_a_scope_an_allocation_is_tried_again_with_the_memory_in_reserve) {
    EXPECT_EXIT(
        {
            onOutOfMemory([] { std::_Exit(7); });
            outOfMemory();
            keepMemoryInReserve();
            outOfMemory();
            std::_Exit(8);
        },
        testing::ExitedWithCode(8), "");
}

} // namespace
} // namespace VostelMCPKit
