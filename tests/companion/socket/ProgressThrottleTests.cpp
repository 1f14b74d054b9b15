#include "companion/socket/ProgressThrottle.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;

TEST(ProgressThrottle, admits_the_first_report_and_later_ones_after_the_interval_but_never_the_end) {
    struct Row {
        const char* when;
        std::chrono::milliseconds at;
        double fraction;
        bool admitted;
    };
    const ProgressThrottle::Time start{};
    ProgressThrottle throttle{200ms, {}};
    const Row rows[] = {
        {"the first", 0ms, 0.1, true},
        {"too soon", 199ms, 0.2, false},
        {"an interval later", 200ms, 0.2, true},
        {"no further", 900ms, 0.2, false},
        {"backwards", 900ms, 0.1, false},
        {"further", 900ms, 0.3, true},
        {"done", 2000ms, 1, false},
        {"more than done", 2000ms, 1.5, false},
    };
    vostel_tests::forEachRow(
        rows, [&](const Row& row) { EXPECT_EQ(throttle.admits(row.fraction, start + row.at), row.admitted); });
}

} // namespace vostel_companion
