// Times, fractions and sizes as texts for the user.
#pragma once

#include "companion/support/Time.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace vostel_companion {

/// "0:07", "12:30", "1:02:03".
[[nodiscard]] std::string clockText(std::chrono::seconds time);

/// "45%" of the fraction 0.456.
[[nodiscard]] std::string percentText(double fraction);

/// "812 KB", "12.3 MB" or "1.2 GB".
[[nodiscard]] std::string sizeText(std::uintmax_t bytes);

/// "2026-08-30 14:05" on the clock of the user's time zone.
[[nodiscard]] std::string localTimeText(Timestamp moment);

} // namespace vostel_companion
