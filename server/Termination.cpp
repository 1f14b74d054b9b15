#include "server/Termination.h"

#include "posix/Signals.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <sys/time.h>
#include <unistd.h>

namespace vostel_mcp::Termination {

namespace {

/// The first of the signals; 0 before it.
std::atomic<int> requested = 0;
// Signal handlers may use only atomics without locks.
static_assert(decltype(requested)::is_always_lock_free);

/// A signal that arrives right before a system call does not interrupt it. One of the ticks of a timer then does.
constexpr itimerval ticks{.it_interval = {.tv_sec = 0, .tv_usec = 10'000}, .it_value = {.tv_sec = 0, .tv_usec = 1'000}};
/// It comes after a second.
constexpr int lastTick = 100;

void changeMask(int how) {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : posix::terminationSignals) sigaddset(&signals, signal);
    sigaddset(&signals, SIGALRM);
    ::pthread_sigmask(how, &signals, nullptr);
}

/// Without SA_RESTART, because the handler must interrupt system calls.
void setHandler(int signal, void (*handler)(int)) {
    struct sigaction action{};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
}

// Both run in signal handlers of the receiving thread.

void tick(int) {
    static int count = 0;
    if (++count == lastTick) posix::reraise(requested);
}

void request(int signal) {
    int none = 0;
    // The first signal counts. The same one may come from the terminal and from a client that passes it on.
    if (!requested.compare_exchange_strong(none, signal)) return;
    const int saved = errno;
    // Not in `prepare`, because a client may have set an alarm that should end the process as usual.
    setHandler(SIGALRM, tick);
    // A sandbox may forbid timers.
    if (::setitimer(ITIMER_REAL, &ticks, nullptr) != 0) posix::reraise(signal);
    errno = saved;
}

} // namespace

void prepare() {
    changeMask(SIG_BLOCK);
    for (const int signal : posix::terminationSignals) {
        if (!posix::isIgnored(signal)) setHandler(signal, request);
    }
}

void receiveDuring(const std::function<void()>& read) {
    changeMask(SIG_UNBLOCK);
    read();
    // The client may still send a signal, for example while it does not read the last replies.
    for (;;) ::pause();
}

bool isRequested() { return requested != 0; }

void endProcess() {
    if (isRequested()) posix::reraise(requested);
    std::_Exit(EXIT_SUCCESS);
}

} // namespace vostel_mcp::Termination
