// `Vostel dictate FILE`: transcribes a file, prints the text and adds it to the history of dictation.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// The dictation is delivered once its text is printed. A file without speech adds nothing.
[[nodiscard]] Exit run(const Command::Dictate& verb, CommandContext& context);

} // namespace vostel_companion
