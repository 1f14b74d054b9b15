// The start of most tests: a server and a running application.
#pragma once

#include "tests/e2e/FakeApplication.h"
#include "tests/e2e/Messages.h"
#include "tests/e2e/ServerProcess.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <thread>

namespace vostel_tests {

struct Stage {
    /// More variables for the server.
    std::vector<std::string> environment = {};
    TemporaryFolder home = {};
    FakeApplication application{home.path()};
    ServerProcess server{{.home = home.path(), .environment = environment}};

    /// The server answers, and no other line comes before its answer.
    void expectServing() {
        server.send(ping(R"("still there?")"));
        EXPECT_EQ(server.line(), pingReply(R"("still there?")"));
    }

    /// Waits until `condition` holds; false after the timeout. A call's thread removes the call and ends a moment after
    /// its answer.
    template <class Condition>
    [[nodiscard]] bool soon(Condition condition) {
        return waitUntil(condition, [this] { expectServing(); });
    }

    /// Waits until the server uses at most this much memory; false after the timeout.
    [[nodiscard]] bool memoryFallsTo(std::size_t kibibytes) {
        return soonInSilence([&] { return server.residentKiB() <= kibibytes; });
    }

    /// Like `soon`, but it sends and reads nothing. Even a ping can make the server return memory.
    template <class Condition>
    [[nodiscard]] static bool soonInSilence(Condition condition) {
        return waitUntil(condition, [] { std::this_thread::sleep_for(std::chrono::milliseconds{10}); });
    }

private:
    /// Calls `pause` between two looks at the condition.
    template <class Condition, class Pause>
    static bool waitUntil(Condition condition, Pause pause) {
        const auto deadline = std::chrono::steady_clock::now() + timeout();
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            pause();
        }
        return true;
    }
};

} // namespace vostel_tests
