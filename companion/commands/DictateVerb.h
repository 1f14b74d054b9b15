// `Vostel dictate FILE`: what was said in a file, printed and added to the history of dictation.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

/// The dictation counts as delivered once its text is printed. A file without words adds nothing.
[[nodiscard]] Exit run(const Command::Dictate& verb, World& world);

} // namespace vostel_companion
