// The end of a process that a test has forked.
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

namespace vostel_tests {

/// Ends this process with `status`. If the thread sanitizer reported something before the fork, its `_exit` would turn
/// success into a failure: each later test that forks would fail for the earlier one.
[[noreturn]] inline void endForkedProcess(int status) {
#ifdef __linux__
    ::syscall(SYS_exit_group, status);
#endif
    ::_exit(status);
}

} // namespace vostel_tests
