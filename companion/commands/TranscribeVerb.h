// `Vostel transcribe FILE|LINK...`: transcribes files and links and stores the transcripts.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// Prints each text and the id under which it is stored. If one source fails, the others are still transcribed. It
/// stores with the code of the tools, which opens the database by its path.
[[nodiscard]] Exit run(const Command::Transcribe& verb, CommandContext& context);

} // namespace vostel_companion
