#include "companion/support/Progress.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace vostel_companion {

TEST(Progress, a_waiting_call_reports_how_many_come_before_it_with_a_rising_fraction) {
    std::vector<Progress> reports;
    const auto waiting = reportWaiting([&](const Progress& now) { reports.push_back(now); });
    for (const std::size_t others : {3U, 2U, 1U}) waiting(others);
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[0].message, "Waiting for 3 others");
    EXPECT_EQ(reports[2].message, "Waiting for 1 other");
    EXPECT_GT(reports[0].fraction, 0);
    EXPECT_GT(reports[1].fraction, reports[0].fraction);
    EXPECT_GT(reports[2].fraction, reports[1].fraction);
    for (int more = 0; more < 1000; ++more) waiting(1);
    EXPECT_LE(reports.back().fraction, mostWhileWaiting);
}

} // namespace vostel_companion
