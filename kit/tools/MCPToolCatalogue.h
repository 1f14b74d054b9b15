// The tools that vostel-mcp announces. The catalogue fixes what the AI client sees: names, schemas, hints, and
// descriptions, which instruct the model. The application does the work.
#pragma once

#include "kit/tools/MCPTool.h"

#include <vector>

namespace VostelMCPKit::MCPToolCatalogue {

/// The tools in their fixed order. The video tool, transcribe_url, is missing unless `youTubeAvailable`. Returns a
/// copy; the original is built at the first call. Thread-safe.
[[nodiscard]] std::vector<MCPTool> tools(bool youTubeAvailable);

/// The same list as JSON. It is encoded and written at the first call; later calls share it. Thread-safe.
[[nodiscard]] MCPValue encodedTools(bool youTubeAvailable);

} // namespace VostelMCPKit::MCPToolCatalogue
