#include "companion/store/Listing.h"

#include <algorithm>

namespace vostel_companion {

std::string ListingError::description() const {
    switch (argument) {
    case Argument::limit:
        return "The limit must be at least 1.";
    case Argument::since:
    case Argument::until:
        break;
    }
    return std::string{"The value of "} + (argument == Argument::since ? "since" : "until") +
           " is neither an ISO 8601 timestamp with its time zone (such as \"2026-08-30T14:05:00Z\") nor a plain date "
           "(such as \"2026-08-30\").";
}

std::expected<Listing, ListingError> Listing::parse(std::optional<std::int64_t> limit,
                                                    std::optional<std::string_view> since,
                                                    std::optional<std::string_view> until,
                                                    const LocalMidnight& localMidnight) {
    using Argument = ListingError::Argument;
    Listing listing;
    if (limit) {
        if (*limit < 1) return std::unexpected(ListingError{Argument::limit});
        listing.limit = std::min(*limit, mostEntries);
    }
    if (since) {
        const auto moment = parseTimestamp(*since, localMidnight);
        if (!moment) return std::unexpected(ListingError{Argument::since});
        listing.since = std::chrono::ceil<Timestamp::duration>(*moment);
    }
    if (until) {
        // Deliberate: a plain date means the start of the day here too, not its end. The tool's description says "same
        // format as since", and `since` reads a date as local midnight.
        const auto moment = parseTimestamp(*until, localMidnight);
        if (!moment) return std::unexpected(ListingError{Argument::until});
        listing.until = std::chrono::floor<Timestamp::duration>(*moment);
    }
    return listing;
}

} // namespace vostel_companion
