// `Vostel models`, `models install ID`, `models remove ID`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListModels& verb, CommandContext& context);
[[nodiscard]] Exit run(const Command::InstallModel& verb, CommandContext& context);
/// Deliberate: asks for no confirmation. Confirmations protect the user from AI clients, not from themselves.
[[nodiscard]] Exit run(const Command::RemoveModel& verb, CommandContext& context);

} // namespace vostel_companion
