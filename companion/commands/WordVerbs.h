// `Vostel words`, `words add WORD [REPLACEMENT]`, `words remove WORD...`.
#pragma once

#include "companion/commands/Command.h"
#include "companion/commands/World.h"

namespace vostel_companion {

[[nodiscard]] Exit run(const Command::ListWords& verb, World& world);
[[nodiscard]] Exit run(const Command::AddWord& verb, World& world);
/// Deliberate: asks for no confirmation, which protects the person from clients and not from themselves.
[[nodiscard]] Exit run(const Command::RemoveWords& verb, World& world);

} // namespace vostel_companion
