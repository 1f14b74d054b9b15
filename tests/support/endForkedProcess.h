// The end of a process that a test has forked.
#pragma once

#include <sys/syscall.h>
#include <unistd.h>

namespace vostel_tests {

/// Ends this process with `status`. After a report of the thread sanitizer, its `_exit` turns success into failure.
/// Then each later test that forks would fail because of that report.
[[noreturn]] inline void endForkedProcess(int status) {
#ifdef __linux__
    ::syscall(SYS_exit_group, status);
#endif
    ::_exit(status);
}

} // namespace vostel_tests
