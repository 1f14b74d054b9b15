// How long the tests wait for another process. When all is well they do not wait, and every wait has a limit.
#pragma once

#include <chrono>

namespace vostel_tests {

/// True when server and tests are built with a sanitizer, which makes them many times slower and larger.
inline constexpr bool sanitized = VOSTEL_SANITIZED;

/// The limit for what must happen. Generous, because only a failing test ever waits that long; and once it has failed,
/// short.
[[nodiscard]] std::chrono::milliseconds timeout();

/// How long to look for what must not happen.
inline constexpr std::chrono::milliseconds silence{150};

/// Waits until `descriptor` is ready for `events` (of poll) or its other end is gone; false when `limit` passes first.
[[nodiscard]] bool waitUntilReady(int descriptor, short events, std::chrono::milliseconds limit);

} // namespace vostel_tests
