// The arguments and results of the list tools: the newest entries of a period of time, and the count of all.
#pragma once

#include "companion/store/Database.h"
#include "companion/support/Iso8601.h"

#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

/// An invalid argument of a list tool.
struct ListingError {
    enum class Argument { limit, since, until };
    Argument argument = Argument::limit;

    /// One full sentence for the AI client.
    [[nodiscard]] std::string description() const;

    bool operator==(const ListingError&) const = default;
};

struct Listing {
    static constexpr std::int64_t defaultLimit = 50;
    static constexpr std::int64_t mostEntries = 500;

    /// Between 1 and mostEntries.
    std::int64_t limit = defaultLimit;
    /// Both ends belong to the period. An absent end is open.
    std::optional<Timestamp> since;
    std::optional<Timestamp> until;

    /// Reads the arguments of the client. A limit above the maximum counts as the maximum, because the counters of the
    /// page show that there is more.
    [[nodiscard]] static std::expected<Listing, ListingError> parse(std::optional<std::int64_t> limit,
                                                                    std::optional<std::string_view> since,
                                                                    std::optional<std::string_view> until,
                                                                    const LocalMidnight& localMidnight);

    bool operator==(const Listing&) const = default;
};

/// The newest entries of a period, newest first. Of entries with the same date, the one added last is first.
template <class Entry>
struct Page {
    std::vector<Entry> entries;
    /// The count of all entries of the period, before the limit.
    std::int64_t totalCount = 0;

    bool operator==(const Page&) const = default;
};

/// Reads one page of `table`, whose indexed column `date` has the dates. Count and entries come from one consistent
/// view of the data.
template <class Read>
[[nodiscard]] auto readPage(Database& database, const Listing& listing, const std::string& table,
                            const std::string& columns, Read read)
    -> std::expected<Page<std::invoke_result_t<Read, const Statement&>>, DatabaseError> {
    using Result = std::expected<Page<std::invoke_result_t<Read, const Statement&>>, DatabaseError>;
    const std::string window = " FROM " + table + " WHERE date BETWEEN ? AND ?";
    const Timestamp since = listing.since.value_or(Timestamp::min());
    const Timestamp until = listing.until.value_or(Timestamp::max());
    return inTransaction(database, Transaction::Kind::reading, [&]() -> Result {
        Statement count{database, "SELECT count(*)" + window};
        const auto total = count.bind(since, until).first([](const Statement& row) { return row.integer(0); });
        if (!total) return std::unexpected(total.error());

        Statement select{database, "SELECT " + columns + window + " ORDER BY date DESC, rowid DESC LIMIT ?"};
        auto entries = select.bind(since, until, listing.limit).all(read);
        if (!entries) return std::unexpected(std::move(entries.error()));
        return {{std::move(*entries), total->value_or(0)}};
    });
}

} // namespace vostel_companion
