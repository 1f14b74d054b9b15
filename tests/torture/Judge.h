// The rules by which a run is judged.
//
// 1. No signal ends the server. Exception: where memory fails, it may abort, in the middle of no line. An allocation
//    that a peer's data asks for fails alone: the server goes on.
// 2. Nothing takes longer than longestWait (Stage.h).
// 3. Standard output consists of whole lines. Exception: writing it fails.
// 4. Each request has one answer at most, and exactly one unless
//    - writing standard output fails, which loses lines;
//    - reading standard input fails, which is its end;
//    - memory fails, and the answer has no id, or the line of the request was too large;
//    - the server was allowed to end.
// 5. A cancelled call has no line after the reply to a later request. Exception: memory fails, and the cancellation was
//    refused for that.
// 6. Afterwards an idle server has no more descriptors, threads and children than before. Exception: a child whose end
//    could not be waited for.
// 7. The next call works.
// 8. The end of the input ends the server with status 0, and nothing that it started is left. Exception: a server that
//    cannot start ends with status 1; one whose input cannot be read ends at once.
// 9. Standard error has the start-up line alone. Exception: writing it fails.
#pragma once

#include "tests/torture/Conversations.h"

namespace torture {

struct Point {
    const Conversation* conversation;
    std::vector<Fault> faults;

    [[nodiscard]] std::string description() const;
};

struct Verdict {
    /// What breaks a rule; empty when nothing does.
    std::vector<std::string> violations = {};
    bool hasFault = false;
    bool aborted = false;
    std::map<long, long> systemCalls = {};
    long allocations = 0;
};

struct Programs {
    std::string server, preloaded;
};

/// Runs one conversation with its faults and judges it.
[[nodiscard]] Verdict judge(const Point& point, const Programs& programs, Planted planted = Planted::nothing);

} // namespace torture
