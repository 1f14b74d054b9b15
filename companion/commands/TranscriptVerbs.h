// `Vostel transcripts [ID]`: the transcripts of files, links and recorded calls.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// One line each, newest first.
[[nodiscard]] Exit run(const Command::ListTranscripts& verb, CommandContext& context);
/// Prints the whole text.
[[nodiscard]] Exit run(const Command::ShowTranscript& verb, CommandContext& context);
/// Deletes a transcript or a recorded call with everything that is kept of it. The user's own file stays.
[[nodiscard]] Exit run(const Command::DeleteTranscript& verb, CommandContext& context);

} // namespace vostel_companion
