// history_list, transcripts_list, recordings_list and recording_get. They are refused until the user allows reading.
#pragma once

#include "companion/tools/ToolContext.h"

namespace vostel_companion {

void addReadingTools(ToolTable& tools, const ToolContext& context);

} // namespace vostel_companion
