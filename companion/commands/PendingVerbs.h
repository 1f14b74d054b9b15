// `Vostel pending`, `Vostel confirm ID`, `Vostel deny ID`.
//
// They change the store while another process serves. The client that asked gets the outcome from its next call.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListPending& verb, CommandContext& context);
[[nodiscard]] Exit run(const Command::AnswerPending& verb, CommandContext& context);

} // namespace vostel_companion
