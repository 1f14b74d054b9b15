// `Vostel dictate FILE`: transcribes a file, prints the text and adds it to the dictation history.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// The dictation counts as delivered once its text is printed. A file without speech adds nothing.
[[nodiscard]] Exit run(const Command::Dictate& verb, CommandContext& context);

} // namespace vostel_companion
