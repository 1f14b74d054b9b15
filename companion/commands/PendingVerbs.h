// `Vostel pending`, `Vostel confirm ID`, `Vostel deny ID`.
//
// They work on the store while another process serves: the client that asked is told at its next call.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListPending& verb, World& world);
[[nodiscard]] Exit run(const Command::AnswerPending& verb, World& world);

} // namespace vostel_companion
