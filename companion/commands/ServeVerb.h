// `Vostel serve`: the application that vostel-mcp forwards calls to.
#pragma once

#include "companion/commands/Command.h"

#include <filesystem>

namespace vostel_companion {

/// Serves the socket until a signal asks the program to end, and then exits. Returns only if it could not start, for
/// example because another process serves already. With `hasTerminal`, standard input and output are a terminal, and
/// the user is asked there for confirmations.
[[nodiscard]] Exit serve(const std::filesystem::path& applicationSupportDirectory, bool hasTerminal);

} // namespace vostel_companion
