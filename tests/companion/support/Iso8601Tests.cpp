#include "companion/support/Iso8601.h"
#include "tests/support/Table.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

namespace vostel_companion {

namespace {

using namespace std::chrono;

/// A zone two hours ahead of UTC.
std::optional<sys_seconds> midnightInTestZone(year_month_day day) { return sys_seconds{sys_days{day}} - 2h; }

std::optional<sys_time<microseconds>> parse(std::string_view text) { return parseTimestamp(text, midnightInTestZone); }

/// Sets the process's time zone for its scope.
class TimeZone final {
public:
    explicit TimeZone(const char* zone) {
        if (const char* const before = std::getenv("TZ")) before_ = before;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        if (before_) {
            ::setenv("TZ", before_->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

private:
    std::optional<std::string> before_;
};

} // namespace

TEST(Iso8601, a_timestamp_with_its_zone_is_read_exactly) {
    const sys_time<microseconds> expected = sys_days{2026y / August / 30} + 14h + 5min;
    struct Row {
        const char* when;
        const char* text;
        sys_time<microseconds> time;
    };
    const Row rows[] = {
        {"UTC", "2026-08-30T14:05:00Z", expected},
        {"lower case", "2026-08-30t14:05:00z", expected},
        {"a space between date and time", "2026-08-30 14:05:00Z", expected},
        {"no seconds", "2026-08-30T14:05Z", expected},
        {"ahead of UTC", "2026-08-30T16:05:00+02:00", expected},
        {"west of UTC, into the day before", "2026-08-29T23:35:00-14:30", expected},
        {"a zone without colon", "2026-08-30T16:05:00+0200", expected},
        {"a zone of whole hours", "2026-08-30T16:05:00+02", expected},
        {"milliseconds", "2026-08-30T14:05:00.250Z", expected + 250ms},
        {"a comma before the fraction", "2026-08-30T14:05:00,5Z", expected + 500ms},
        {"more digits than are kept", "2026-08-30T14:05:00.123456789123Z", expected + 123456us},
        {"a leap second", "2016-12-31T23:59:60Z", sys_days{2017y / January / 1}},
        {"the first year", "0001-01-01T00:00:00Z", sys_days{1y / January / 1}},
        {"the last year", "9999-12-31T23:59:59Z", sys_days{9999y / December / 31} + 23h + 59min + 59s},
        {"a leap day", "2024-02-29T00:00:00Z", sys_days{2024y / February / 29}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(parse(row.text), row.time); });
}

TEST(Iso8601, a_plain_date_is_its_local_midnight) {
    EXPECT_EQ(parse("2026-08-30"), sys_days{2026y / August / 29} + 22h);
    EXPECT_EQ(parseTimestamp("2026-08-30", [](year_month_day) { return std::nullopt; }), std::nullopt);
}

TEST(Iso8601, anything_else_is_refused) {
    struct Row {
        const char* when;
        std::string_view text;
    };
    const Row rows[] = {
        {"nothing", ""},
        {"a word", "yesterday"},
        {"no zone", "2026-08-30T14:05:00"},
        {"a time alone", "14:05:00Z"},
        {"an hour alone", "2026-08-30T14Z"},
        {"a month alone", "2026-08"},
        {"a day that does not exist", "2026-02-29"},
        {"a month that does not exist", "2026-13-01"},
        {"a day zero", "2026-08-00"},
        {"the year zero", "0000-01-01"},
        {"a short year", "26-08-30"},
        {"a long year", "12026-08-30"},
        {"a negative year", "-2026-08-30"},
        {"the basic format", "20260830T140500Z"},
        {"slashes", "2026/08/30"},
        {"hour 24", "2026-08-30T24:00:00Z"},
        {"minute 60", "2026-08-30T14:60:00Z"},
        {"second 61", "2026-08-30T14:05:61Z"},
        {"a fraction without digits", "2026-08-30T14:05:00.Z"},
        {"a zone beyond a day", "2026-08-30T14:05:00+24:00"},
        {"an incomplete zone", "2026-08-30T14:05:00+02:"},
        {"a named zone", "2026-08-30T14:05:00 CET"},
        {"text after it", "2026-08-30T14:05:00Z "},
        {"something before it", " 2026-08-30"},
        {"a NUL after it", std::string_view{"2026-08-30\0", 11}},
        {"digits of another script", "２０２６-08-30"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(parse(row.text), std::nullopt); });
}

TEST(Iso8601, a_timestamp_is_written_in_UTC_with_milliseconds) {
    const Timestamp moment = sys_days{2026y / August / 30} + 14h + 5min + 7ms;
    EXPECT_EQ(formatTimestamp(moment), "2026-08-30T14:05:00.007Z");
    EXPECT_EQ(formatTimestamp(Timestamp{-1ms}), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(formatTimestamp(sys_days{1y / January / 1}), "0001-01-01T00:00:00.000Z");
}

TEST(Iso8601, a_written_timestamp_is_read_as_the_same_time) {
    const Timestamp moment = sys_days{2026y / August / 30} + 14h + 5min + 7s + 123ms;
    EXPECT_EQ(parse(formatTimestamp(moment)), moment);
}

TEST(Iso8601, the_systems_midnight_respects_the_time_zone_and_its_clock_changes) {
    struct Row {
        const char* when;
        const char* zone;
        year_month_day day;
        sys_seconds midnight;
    };
    const Row rows[] = {
        {"UTC", "UTC0", 2026y / August / 30, sys_days{2026y / August / 30}},
        {"ahead of UTC", "TST-3", 2026y / August / 30, sys_days{2026y / August / 29} + 21h},
        {"west of UTC", "TST11", 2026y / August / 30, sys_days{2026y / August / 30} + 11h},
        {"far ahead", "TST-14", 2026y / August / 30, sys_days{2026y / August / 29} + 10h},
        {"in summer", "CET-1CEST,M3.5.0,M10.5.0/3", 2026y / August / 30, sys_days{2026y / August / 29} + 22h},
        {"in winter", "CET-1CEST,M3.5.0,M10.5.0/3", 2026y / January / 30, sys_days{2026y / January / 29} + 23h},
        {"on the day of a change", "CET-1CEST,M3.5.0,M10.5.0/3", 2026y / March / 29,
         sys_days{2026y / March / 28} + 23h},
        // Clocks go from 00:00 to 01:00: the day begins at one o'clock, which is three o'clock in UTC.
        {"the midnight is skipped", "BRT3BRST,M10.3.0/0,M2.3.0/0", 2026y / October / 18,
         sys_days{2026y / October / 18} + 3h},
        // Clocks go from 24:00 back to 23:00: the day begins after the repeated hour.
        {"the hour before midnight is repeated", "BRT3BRST,M10.3.0/0,M2.3.0/0", 2026y / February / 15,
         sys_days{2026y / February / 15} + 3h},
        // Clocks go from 01:00 back to 00:00: the first midnight counts.
        {"the midnight is repeated", "AZT1AZST,M3.5.0/0,M10.5.0/1", 2026y / October / 25,
         sys_days{2026y / October / 25}},
        {"before 1970", "TST-3", 1950y / May / 1, sys_days{1950y / April / 30} + 21h},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const TimeZone zone{row.zone};
        EXPECT_EQ(systemLocalMidnight(row.day), row.midnight);
    });
}

} // namespace vostel_companion
