// transcribe_file.
#pragma once

#include "companion/tools/Tool.h"
#include "companion/transcription/Transcriber.h"

namespace vostel_companion {

/// `transcriber` outlives the table.
void addTranscriptionTools(ToolTable& tools, Transcriber& transcriber);

} // namespace vostel_companion
