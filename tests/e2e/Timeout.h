// How long the tests wait for another process. When all is well they do not wait, and every wait has a limit.
#pragma once

#include <chrono>
#include <cstdlib>

namespace vostel_tests {

/// A released server that is tested in place of the one built with the tests. Its memory is what users get; a sanitizer
/// keeps what was freed. Null when the environment names none.
inline const char* const releasedServer = std::getenv("VOSTEL_RELEASED_MCP");
inline const char* const serverPath = releasedServer != nullptr ? releasedServer : VOSTEL_MCP;

/// True when the server is built with a sanitizer, which makes it many times slower and larger.
inline const bool sanitized = VOSTEL_SANITIZED && releasedServer == nullptr;

/// The limit for what must happen. Generous, because only a failing test ever waits that long; and once it has failed,
/// short.
[[nodiscard]] std::chrono::milliseconds timeout();

/// How long to look for what must not happen.
inline constexpr std::chrono::milliseconds silence{150};

/// Waits until `descriptor` is ready for `events` (of poll) or its other end is gone; false when `limit` passes first.
[[nodiscard]] bool waitUntilReady(int descriptor, short events, std::chrono::milliseconds limit);

} // namespace vostel_tests
