// The two kinds of time that the application keeps.
#pragma once

#include <chrono>

namespace vostel_companion {

/// A point in time, in UTC, as the database keeps it.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;
/// A length of sound, or a position in it.
using Seconds = std::chrono::duration<double>;

} // namespace vostel_companion
