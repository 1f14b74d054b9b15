// The conversations under which everything is made to fail once.
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
    /// The faults begin with the process; otherwise when it has answered a call and is idle.
    bool fromTheStart = false;
    bool applicationListens = true;
    bool applicationIsBroken = false;
    /// Says what the client says, and plays until that is done; `limit` is for what a fault may have lost.
    void (*play)(Stage&, std::chrono::milliseconds limit) = nullptr;
};

[[nodiscard]] const std::vector<Conversation>& conversations();

} // namespace torture
