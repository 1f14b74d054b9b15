// transcribe_file and transcribe_url.
//
// What was recognised comes back in any case: when the database cannot apply the vocabulary or keep the transcript, or
// the disk has no room for its file, the words are answered as they are, with a note behind them that says so.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

void addTranscriptionTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
