// `Vostel models`, `models install ID`, `models remove ID`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListModels& verb, World& world);
[[nodiscard]] Exit run(const Command::InstallModel& verb, World& world);
/// Deliberate: asks for no confirmation, which protects the person from clients and not from themselves.
[[nodiscard]] Exit run(const Command::RemoveModel& verb, World& world);

} // namespace vostel_companion
