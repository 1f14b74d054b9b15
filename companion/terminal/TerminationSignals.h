// The signals that ask the program to end: taken by a thread that waits for them, so that no handler interrupts the
// others.
#pragma once

#include <csignal>

namespace vostel_companion {

class TerminationSignals final {
public:
    /// Keeps them away from this thread and those that it starts from now on. A signal that was being ignored stays
    /// so, as under nohup. To be made before any other thread.
    TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Waits for the next one and returns its number. For one thread at a time.
    [[nodiscard]] int wait() const;

private:
    sigset_t signals_;
};

/// Ends the program by `signal`, as if nobody had ever taken it: a shell sees that and stops its loop.
[[noreturn]] void endBy(int signal);

} // namespace vostel_companion
