// `Vostel record MICROPHONE SYSTEM`: transcribes the two tracks of a call.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/CommandContext.h"

namespace vostel_companion {

/// If a file cannot be read, nothing is stored. A later failure is stored as a failed recording with its reason.
[[nodiscard]] Exit run(const Command::Record& verb, CommandContext& context);

} // namespace vostel_companion
