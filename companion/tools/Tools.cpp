#include "companion/tools/Tools.h"

#include "companion/tools/ModelTools.h"
#include "companion/tools/ReadingTools.h"
#include "companion/tools/TranscriptionTools.h"
#include "companion/tools/VocabularyTools.h"

namespace vostel_companion {

void addTools(ToolTable& tools, const ToolContext& context) {
    addTranscriptionTools(tools, context);
    addReadingTools(tools, context);
    addVocabularyTools(tools, context);
    addModelTools(tools, context);
}

} // namespace vostel_companion
