#include "companion/support/Wording.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;

TEST(Wording, times_are_written_as_on_a_clock) {
    struct Row {
        std::chrono::seconds time;
        const char* text;
    };
    const Row rows[] = {{0s, "0:00"},     {7s, "0:07"},       {60s, "1:00"},
                        {3599s, "59:59"}, {3600s, "1:00:00"}, {100h + 2min + 3s, "100:02:03"}};
    for (const Row& row : rows) EXPECT_EQ(clockText(row.time), row.text);
}

TEST(Wording, a_fraction_is_a_whole_percentage) {
    EXPECT_EQ(percentText(0), "0%");
    EXPECT_EQ(percentText(0.999), "99%");
    EXPECT_EQ(percentText(1), "100%");
}

TEST(Wording, times_are_in_the_time_zone_of_the_user) {
    const Timestamp moment{1'000'000'000'000ms};
    ::setenv("TZ", "UTC-02:00", 1);
    ::tzset();
    EXPECT_EQ(localTimeText(moment), "2001-09-09 03:46");
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    EXPECT_EQ(localTimeText(moment), "2001-09-09 01:46");
}

TEST(Wording, sizes_have_one_decimal_at_most) {
    struct Row {
        std::uintmax_t bytes;
        const char* text;
    };
    const Row rows[] = {{0, "0 KB"},
                        {1, "1 KB"},
                        {999'000, "999 KB"},
                        {999'001, "1.0 MB"},
                        {12'345'678, "12.3 MB"},
                        {999'999'000, "999.9 MB"},
                        {1'000'000'000, "1.0 GB"},
                        {123'456'789'012, "123.4 GB"}};
    for (const Row& row : rows) EXPECT_EQ(sizeText(row.bytes), row.text);
}

} // namespace vostel_companion
