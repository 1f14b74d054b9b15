// Checks a run of the server with these rules:
//
// 1. No signal ends the server. Exception: if an allocation fails, it may abort, but not in the middle of a line.
//    If an allocation for a peer's data fails, the server must continue.
// 2. No step takes longer than longestWait (Stage.h).
// 3. Standard output consists of complete lines. Exception: writing it fails.
// 4. Each request has exactly one answer. It may have no answer if
//    - writing standard output fails, which loses lines;
//    - reading standard input fails, which ends the input;
//    - an allocation fails, and the answer has no id, or the line of the request was too large;
//    - the server was allowed to end.
// 5. A cancelled call has no line after the reply to a later request.
//    Exception: an allocation fails, and the cancellation was refused for that reason.
// 6. Afterwards an idle server has no more descriptors, threads and children than before.
//    Exception: a child that could not be reaped.
// 7. The next call works.
// 8. The end of the input ends the server with status 0, and no process that it started is left.
//    Exceptions: a server that cannot start ends with status 1. A server whose input cannot be read ends at once.
// 9. Standard error has only the start-up line. Exception: writing it fails.
#pragma once

#include "tests/torture/Conversations.h"

namespace torture {

struct Point {
    const Conversation* conversation;
    std::vector<Fault> faults;

    [[nodiscard]] std::string description() const;
};

struct Verdict {
    /// The broken rules; empty when there are none.
    std::vector<std::string> violations = {};
    bool hasFault = false;
    bool aborted = false;
    std::map<long, long> systemCalls = {};
    long allocations = 0;
};

struct Programs {
    std::string server, preloaded;
};

/// Runs one conversation with its faults and checks the rules.
[[nodiscard]] Verdict checkRun(const Point& point, const Programs& programs, Planted planted = Planted::nothing);

} // namespace torture
