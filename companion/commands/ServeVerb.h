// `Vostel serve`: the application that vostel-mcp asks.
#pragma once

#include "companion/commands/Command.h"

#include <filesystem>

namespace vostel_companion {

/// Serves the socket until the program is asked to end, and then ends it; returns only when it could not begin to, or
/// when another process serves already. `hasTerminal`: a person reads standard output and answers on standard input.
[[nodiscard]] Exit serve(const std::filesystem::path& applicationSupportDirectory, bool hasTerminal);

} // namespace vostel_companion
