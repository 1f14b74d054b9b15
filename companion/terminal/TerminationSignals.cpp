#include "companion/terminal/TerminationSignals.h"

#include <initializer_list>
#include <pthread.h>

namespace vostel_companion {

TerminationSignals::TerminationSignals() {
    sigemptyset(&signals_);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction current{};
        ::sigaction(signal, nullptr, &current);
        if (current.sa_handler != SIG_IGN) sigaddset(&signals_, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
}

int TerminationSignals::wait() const {
    int signal = 0;
    ::sigwait(&signals_, &signal);
    return signal;
}

} // namespace vostel_companion
