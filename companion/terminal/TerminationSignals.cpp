#include "companion/terminal/TerminationSignals.h"

#include "posix/Signals.h"

#include <pthread.h>

namespace vostel_companion {

TerminationSignals::TerminationSignals() {
    sigemptyset(&signals_);
    for (const int signal : posix::terminationSignals) {
        if (!posix::isIgnored(signal)) sigaddset(&signals_, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

int TerminationSignals::wait() const {
    int signal = 0;
    ::sigwait(&signals_, &signal);
    return signal;
}

} // namespace vostel_companion
