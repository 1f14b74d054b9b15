// Interrupts the blocking system calls of the test's own thread: a signal every millisecond, without SA_RESTART.
#pragma once

#include <cerrno>
#include <csignal>
#include <functional>
#include <sys/time.h>

namespace vostel_tests {

/// Only one may exist at a time.
class SignalTicks final {
public:
    /// `onTick` runs in the signal handler with the number of the tick, counted from one. It may call only what a
    /// signal handler may call.
    explicit SignalTicks(std::function<void(int tick)> onTick) {
        onTick_ = std::move(onTick);
        count_ = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) {
            const int saved = errno;
            count_ = count_ + 1;
            onTick_(count_);
            errno = saved;
        };
        ::sigaction(SIGALRM, &action, &before_);
        setEvery(/*microseconds=*/1000);
    }
    SignalTicks(const SignalTicks&) = delete;
    ~SignalTicks() {
        setEvery(/*microseconds=*/0);
        ::sigaction(SIGALRM, &before_, nullptr);
    }

private:
    static void setEvery(int microseconds) {
        const itimerval timer{.it_interval = {0, microseconds}, .it_value = {0, microseconds}};
        ::setitimer(ITIMER_REAL, &timer, nullptr);
    }

    static inline std::function<void(int)> onTick_;
    static inline volatile std::sig_atomic_t count_ = 0;
    struct sigaction before_ = {};
};

} // namespace vostel_tests
