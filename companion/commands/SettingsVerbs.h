// `Vostel settings [reading on|off]`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ShowSettings& verb, CommandContext& context);
/// Takes effect at the next call of a client.
[[nodiscard]] Exit run(const Command::SetReading& verb, CommandContext& context);

} // namespace vostel_companion
