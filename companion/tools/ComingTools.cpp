#include "companion/tools/ComingTools.h"

#include "kit/tools/MCPToolCatalogue.h"

namespace vostel_companion {

void addComingTools(ToolTable& tools) {
    for (const VostelMCPKit::MCPTool& tool : VostelMCPKit::MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        tools.try_emplace(tool.name, [name = tool.name](const ToolCall&) {
            return failedOutcome("The tool " + name +
                                 " is not available yet: it comes with the next stage of this version of Vostel.");
        });
    }
}

} // namespace vostel_companion
