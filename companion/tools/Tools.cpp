#include "companion/tools/Tools.h"

#include "companion/tools/ComingTools.h"
#include "companion/tools/TranscriptionTools.h"

namespace vostel_companion {

void addTools(ToolTable& tools, const ToolContext& context) {
    addTranscriptionTools(tools, context.transcriber);
    addComingTools(tools);
}

} // namespace vostel_companion
