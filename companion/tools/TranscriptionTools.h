// transcribe_file and transcribe_url.
//
// Recognised words are always returned. If the vocabulary cannot be applied, or the transcript cannot be stored or
// saved as a file, a note before the words says so.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

void addTranscriptionTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
