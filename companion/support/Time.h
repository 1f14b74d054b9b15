// The two kinds of time that the application stores.
#pragma once

#include <chrono>

namespace vostel_companion {

/// A point in time, in UTC, as the database stores it.
using Timestamp = std::chrono::sys_time<std::chrono::milliseconds>;
/// A length of sound, or a position in it.
using Seconds = std::chrono::duration<double>;

} // namespace vostel_companion
