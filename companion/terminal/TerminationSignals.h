// The signals that ask the program to end. A thread waits for them, so there is no signal handler.
#pragma once

#include <csignal>

namespace vostel_companion {

class TerminationSignals final {
public:
    /// Blocks the signals in this thread and in those it starts from now on. A signal that is ignored, as under nohup,
    /// stays ignored. Create it before any other thread.
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Waits for the next signal and returns its number. For one thread at a time.
    [[nodiscard]] int wait() const;

private:
    sigset_t signals_;
};

} // namespace vostel_companion
