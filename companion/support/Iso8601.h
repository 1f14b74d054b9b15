// Reading and writing timestamps as the tools give them: ISO 8601.
#pragma once

#include "companion/support/Time.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The start of a day in the user's time zone. Absent when the system does not know it.
using LocalMidnight = std::function<std::optional<std::chrono::sys_seconds>(std::chrono::year_month_day)>;

/// Uses the system's time zone. Also correct on days whose midnight the clock skips or repeats.
[[nodiscard]] std::optional<std::chrono::sys_seconds> systemLocalMidnight(std::chrono::year_month_day day);

/// Reads a full timestamp with its zone ("2026-08-30T14:05:00Z", "2026-08-30T14:05:00.250+02:00") or a plain date
/// ("2026-08-30": local midnight). Digits after the microseconds are dropped. Absent for anything else, including days
/// that do not exist.
[[nodiscard]] std::optional<std::chrono::sys_time<std::chrono::microseconds>>
parseTimestamp(std::string_view text, const LocalMidnight& localMidnight);

/// "2026-08-30T14:05:00.250Z": always in UTC and with milliseconds. A client may pass it back as `since` or `until` and
/// finds the same entry again.
[[nodiscard]] std::string formatTimestamp(Timestamp moment);

} // namespace vostel_companion
