// `Vostel search WORDS...`: finds words in all stored texts.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// One line for each text, newest first, with an excerpt and the id that prints it. `refused` if nothing was found.
[[nodiscard]] Exit run(const Command::Search& verb, CommandContext& context);

} // namespace vostel_companion
