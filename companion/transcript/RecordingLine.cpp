#include "companion/transcript/RecordingLine.h"

namespace vostel_companion {

const char* name(RecordingLine::Track track) {
    return track == RecordingLine::Track::microphone ? "microphone" : "system";
}

std::string plainText(std::span<const RecordingLine> lines) {
    std::string text;
    for (const RecordingLine& line : lines) {
        if (!text.empty()) text += '\n';
        text += line.speaker;
        text += ": ";
        text += line.text;
    }
    return text;
}

} // namespace vostel_companion
