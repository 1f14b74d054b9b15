// The tools that are announced and not there yet.
#pragma once

#include "companion/tools/Tool.h"

namespace vostel_companion {

/// Gives every tool of the catalogue that `tools` does not have an outcome that says so.
void addComingTools(ToolTable& tools);

} // namespace vostel_companion
