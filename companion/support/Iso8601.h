// Reading and writing moments as the tools speak them: ISO 8601.
#pragma once

#include "companion/support/Time.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The first moment of a day in the user's time zone; absent when the system cannot tell.
using LocalMidnight = std::function<std::optional<std::chrono::sys_seconds>(std::chrono::year_month_day)>;

/// Asks the system's time zone. Right also on days whose midnight the clock skips or repeats.
[[nodiscard]] std::optional<std::chrono::sys_seconds> systemLocalMidnight(std::chrono::year_month_day day);

/// Reads a full timestamp with its zone ("2026-08-30T14:05:00Z", "2026-08-30T14:05:00.250+02:00") or a plain date
/// ("2026-08-30": local midnight). Digits behind the microseconds are dropped. Absent for anything else, days that do
/// not exist included.
[[nodiscard]] std::optional<std::chrono::sys_time<std::chrono::microseconds>>
parseTimestamp(std::string_view text, const LocalMidnight& localMidnight);

/// "2026-08-30T14:05:00.250Z": always in UTC and with milliseconds, so that what was written finds the same entry again
/// as since or until.
[[nodiscard]] std::string formatTimestamp(Timestamp moment);

} // namespace vostel_companion
