#include "kit/support/outOfMemory.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

TEST(OutOfMemory, work_that_needs_more_than_there_is_fails_alone) {
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

TEST(OutOfMemory, the_inner_of_two_scopes_leaves_the_outer_one_in_force) {
    const bool failed = withinMemory(
        [] {
            withinMemory([] {}, [] {});
            outOfMemory();
            return false;
        },
        [] { return true; });
    EXPECT_TRUE(failed);
}

TEST(OutOfMemoryDeathTest, everything_else_ends_the_process_after_the_last_act) {
    EXPECT_EXIT(
        {
            onOutOfMemory([] { std::_Exit(7); });
            outOfMemory();
        },
        testing::ExitedWithCode(7), "");
    EXPECT_DEATH(outOfMemory(), "");
}

} // namespace
} // namespace VostelMCPKit
