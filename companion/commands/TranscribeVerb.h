// `Vostel transcribe FILE|LINK...`: transcribes files and links and stores the transcripts.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// Prints each text and says under which id it is stored. One that fails does not stop the others. Stores as the tools
/// do, so it opens the database by its path.
[[nodiscard]] Exit run(const Command::Transcribe& verb, CommandContext& context);

} // namespace vostel_companion
