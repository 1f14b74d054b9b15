#include "tests/e2e/Timeout.h"

#include <gtest/gtest.h>
#include <poll.h>

namespace vostel_tests {

using Clock = std::chrono::steady_clock;

std::chrono::milliseconds timeout() {
    if (testing::Test::HasFailure()) return std::chrono::milliseconds{200};
    return std::chrono::seconds{sanitized ? 60 : 20};
}

bool waitUntilReady(int descriptor, short events, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    for (;;) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waiting{descriptor, events, 0};
        const int count = ::poll(&waiting, 1, /*timeout=*/rest.count() > 0 ? static_cast<int>(rest.count()) : 0);
        if (count > 0) return true;
        if (count == 0) return false;
    }
}

} // namespace vostel_tests
