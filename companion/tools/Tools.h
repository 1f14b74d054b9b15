// The twelve tools.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

/// Adds all tools of the catalogue. The database at `context.paths` exists and has its schema; each call opens a
/// connection of its own.
void addTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
