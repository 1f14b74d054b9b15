// `Vostel settings [reading on|off]`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ShowSettings& verb, World& world);
/// Takes effect at the clients' next call.
[[nodiscard]] Exit run(const Command::SetReading& verb, World& world);

} // namespace vostel_companion
