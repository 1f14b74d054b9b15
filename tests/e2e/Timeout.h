// How long the tests wait for another process. Every wait has a limit, which only a failing test reaches.
#pragma once

#include <chrono>
#include <cstdlib>

namespace vostel_tests {

/// A released server that is tested in place of the one built with the tests, because a sanitizer changes the use of
/// memory. Null when the environment names none.
inline const char* const releasedServer = std::getenv("VOSTEL_RELEASED_MCP");
inline const char* const serverPath = releasedServer != nullptr ? releasedServer : VOSTEL_MCP;

/// True when the server is built with a sanitizer, which makes it many times slower and larger.
inline const bool sanitized = VOSTEL_SANITIZED && releasedServer == nullptr;

/// The time limit for an event that must happen. It is long, because only a failing test waits that long. After the
/// first failure it is short.
[[nodiscard]] std::chrono::milliseconds timeout();

/// How long a test watches for an event that must not happen.
inline constexpr std::chrono::milliseconds silence{150};

/// Waits until `descriptor` is ready for `events` (of poll) or its other end is closed. False after `limit`.
[[nodiscard]] bool waitUntilReady(int descriptor, short events, std::chrono::milliseconds limit);

} // namespace vostel_tests
