// The tools that vostel-mcp announces. It fixes what the AI client sees: names, descriptions (the instructions that the
// model reads), schemas, hints. The application does the work.
#pragma once

#include "kit/tools/MCPTool.h"

#include <vector>

namespace VostelMCPKit::MCPToolCatalogue {

/// The tools in their fixed order; without the video tool, transcribe_url, unless `youTubeAvailable`. The descriptors
/// are built on first use. Thread-safe.
[[nodiscard]] std::vector<MCPTool> tools(bool youTubeAvailable);

/// The JSON form of the same list, encoded and written once for every answer to tools/list. Thread-safe.
[[nodiscard]] MCPValue encodedTools(bool youTubeAvailable);

} // namespace VostelMCPKit::MCPToolCatalogue
