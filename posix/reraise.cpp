#include "posix/reraise.h"

#include <csignal>
#include <cstdlib>

namespace posix {

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
