// Memory that the test program shares with the library that it loads into the server.
#pragma once

#include <atomic>
#include <cstddef>

namespace torture {

/// Faults of the server that a run must find. They show that the rules work.
enum class Planted : int {
    nothing,
    /// A line is written in two pieces, and another line may come in between.
    tornLine,
    /// An answer is written twice.
    secondAnswer,
    /// An answer is not written.
    lostAnswer,
    /// After a failure, a socket is not closed.
    leakedDescriptor,
    /// After a failure, a thread stays.
    leakedThread,
    /// After a failure, a child process stays.
    leakedChild,
    /// After a failure, no connection can be made.
    brokenNextCall,
    /// After a failure, the process ends with a signal.
    crash,
    /// After a failure, the process does not end with its input.
    hang,
    /// A line of a cancelled call is written.
    lineAfterCancellation,
    last = lineAfterCancellation,
};

struct SharedState {
    /// The server's process. Allocations of the processes that it starts do not fail.
    std::atomic<int> server;
    std::atomic<bool> isArmed;
    std::atomic<long> allocations;
    /// The first allocation that fails, counted from one; zero for none.
    std::atomic<long> failsAt;
    std::atomic<bool> stays;
    std::atomic<long> failures;
    /// The size of the last allocation that failed.
    std::atomic<std::size_t> lastFailed;
    std::atomic<Planted> planted;
    /// The system calls that failed so far.
    std::atomic<long> systemFailures;
};

} // namespace torture
