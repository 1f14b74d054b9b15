// `Vostel record MICROPHONE SYSTEM`: two tracks become one recorded call.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

/// What cannot even begin, such as files without sound, leaves no trace; whatever fails later is kept as a failed
/// recording with its reason.
[[nodiscard]] Exit run(const Command::Record& verb, World& world);

} // namespace vostel_companion
