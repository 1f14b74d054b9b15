// `Vostel transcripts [ID]`: what was transcribed of files, links and recorded calls.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

/// Newest first, a line each.
[[nodiscard]] Exit run(const Command::ListTranscripts& verb, World& world);
/// The whole text.
[[nodiscard]] Exit run(const Command::ShowTranscript& verb, World& world);

} // namespace vostel_companion
