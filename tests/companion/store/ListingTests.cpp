#include "companion/store/Listing.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"

#include <cstdint>

namespace vostel_companion {

namespace {

using namespace std::chrono;
using Argument = ListingError::Argument;

std::optional<sys_seconds> utcMidnight(year_month_day day) { return sys_days{day}; }

auto parse(std::optional<std::int64_t> limit, std::optional<std::string_view> since,
           std::optional<std::string_view> until) {
    return Listing::parse(limit, since, until, utcMidnight);
}

} // namespace

TEST(Listing, without_arguments_it_is_the_newest_fifty_of_all) {
    EXPECT_EQ(parse({}, {}, {}), (Listing{50, std::nullopt, std::nullopt}));
}

TEST(Listing, the_limit_is_between_one_and_five_hundred) {
    struct Row {
        const char* when;
        std::int64_t given;
        std::expected<std::int64_t, ListingError> limit;
    };
    const std::unexpected refused{ListingError{Argument::limit}};
    const Row rows[] = {
        {"the least", 1, 1},
        {"the default", 50, 50},
        {"the most", 500, 500},
        {"more than the most", 501, 500},
        {"the largest number", INT64_MAX, 500},
        {"none", 0, refused},
        {"negative", -1, refused},
        {"the smallest number", INT64_MIN, refused},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto listing = parse(row.given, {}, {});
        ASSERT_EQ(listing.has_value(), row.limit.has_value());
        if (listing) {
            EXPECT_EQ(listing->limit, *row.limit);
        } else {
            EXPECT_EQ(listing.error(), row.limit.error());
        }
    });
}

TEST(Listing, a_plain_date_is_midnight_at_both_ends) {
    const auto listing = parse({}, "2026-08-30", "2026-08-30");
    ASSERT_TRUE(listing);
    EXPECT_EQ(listing->since, Timestamp{sys_days{2026y / August / 30}});
    EXPECT_EQ(listing->until, Timestamp{sys_days{2026y / August / 30}});
}

TEST(Listing, fractions_below_the_millisecond_narrow_the_window) {
    const auto listing = parse({}, "2026-08-30T00:00:00.0001Z", "2026-08-30T00:00:00.0019Z");
    ASSERT_TRUE(listing);
    EXPECT_EQ(listing->since, Timestamp{sys_days{2026y / August / 30} + 1ms});
    EXPECT_EQ(listing->until, Timestamp{sys_days{2026y / August / 30} + 1ms});
}

TEST(Listing, an_invalid_argument_is_refused_in_one_sentence) {
    struct Row {
        const char* when;
        std::expected<Listing, ListingError> listing;
        const char* sentence;
    };
    const Row rows[] = {
        {"limit", parse(0, {}, {}), "The limit must be at least 1."},
        {"since", parse({}, "soon", {}),
         "The value of since is neither an ISO 8601 timestamp with its time zone (such as \"2026-08-30T14:05:00Z\") "
         "nor "
         "a plain date (such as \"2026-08-30\")."},
        {"until", parse({}, {}, ""),
         "The value of until is neither an ISO 8601 timestamp with its time zone (such as \"2026-08-30T14:05:00Z\") "
         "nor "
         "a plain date (such as \"2026-08-30\")."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ASSERT_FALSE(row.listing);
        EXPECT_EQ(row.listing.error().description(), row.sentence);
    });
}

TEST(Listing, a_period_is_searched_with_the_index) {
    Database database = openInMemory();
    for (const char* const table : {"transcripts", "dictations", "recordings"}) {
        SCOPED_TRACE(table);
        Statement plan{database, std::string{"EXPLAIN QUERY PLAN SELECT text FROM (SELECT date AS text FROM "} + table +
                                     " WHERE date BETWEEN 1 AND 2 ORDER BY date DESC, rowid DESC LIMIT 5)"};
        const auto steps = plan.all([](const Statement& row) { return row.text(3); });
        ASSERT_TRUE(steps);
        for (const std::string& step : *steps) EXPECT_EQ(step.find("TEMP B-TREE"), std::string::npos) << step;
        EXPECT_NE(steps->back().find("ByDate (date>? AND date<?)"), std::string::npos) << steps->back();
    }
}

} // namespace vostel_companion
