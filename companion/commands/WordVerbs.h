// `Vostel words`, `words add WORD [REPLACEMENT]`, `words remove WORD...`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListWords& verb, CommandContext& context);
[[nodiscard]] Exit run(const Command::AddWord& verb, CommandContext& context);
/// Deliberate: asks for no confirmation. Confirmations protect the user from AI clients, not from themselves.
[[nodiscard]] Exit run(const Command::RemoveWords& verb, CommandContext& context);

} // namespace vostel_companion
