// `Vostel transcripts [ID]`: the transcripts of files, links and recorded calls.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// One line each, newest first.
[[nodiscard]] Exit run(const Command::ListTranscripts& verb, CommandContext& context);
/// Prints the whole text.
[[nodiscard]] Exit run(const Command::ShowTranscript& verb, CommandContext& context);

} // namespace vostel_companion
