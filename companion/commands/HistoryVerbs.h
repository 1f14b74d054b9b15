// `Vostel transcripts`, `recordings`, `dictations` and `delete`: what is kept of the user's words.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// One line each, newest first.
[[nodiscard]] Exit run(const Command::List& verb, CommandContext& context);
/// Prints the whole text.
[[nodiscard]] Exit run(const Command::Show& verb, CommandContext& context);
/// Deletes everything that is kept of one thing. The user's own file stays.
[[nodiscard]] Exit run(const Command::Delete& verb, CommandContext& context);

} // namespace vostel_companion
