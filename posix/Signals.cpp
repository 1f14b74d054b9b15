#include "posix/Signals.h"

#include <cstdlib>

namespace posix {

bool isIgnored(int signal) {
    struct sigaction current{};
    return ::sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

void reraise(int signal) {
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
    std::_Exit(128 + signal);
}

} // namespace posix
