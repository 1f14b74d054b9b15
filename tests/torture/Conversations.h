// The conversations during which every system call and every allocation fails once.
#pragma once

#include "tests/torture/Stage.h"

namespace torture {

struct Conversation {
    const char* name;
    /// Each of these gets exactly one answer.
    std::vector<int> ids;
    /// Cancelled: it gets no answer after the one to `afterCancellation`.
    int cancelled = 0;
    int afterCancellation = 0;
    /// If true, the faults begin with the process. Otherwise they begin when it has answered a call and is idle.
    bool fromTheStart = false;
    bool applicationListens = true;
    bool applicationIsBroken = false;
    /// Sends the client's lines and runs until they are handled. `limit` applies to answers that a fault may have lost.
    void (*play)(Stage&, std::chrono::milliseconds limit) = nullptr;
};

[[nodiscard]] const std::vector<Conversation>& conversations();

} // namespace torture
