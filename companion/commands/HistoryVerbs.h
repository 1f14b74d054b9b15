// `Vostel transcripts`, `recordings`, `dictations` and `delete`: lists, prints and deletes stored texts.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// One line each, newest first.
[[nodiscard]] Exit run(const Command::List& verb, CommandContext& context);
/// Prints the whole text.
[[nodiscard]] Exit run(const Command::Show& verb, CommandContext& context);
/// Deletes one text and everything that belongs to it. The user's own file stays.
[[nodiscard]] Exit run(const Command::Delete& verb, CommandContext& context);

} // namespace vostel_companion
