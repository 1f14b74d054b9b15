#include "companion/transcript/Transcript.h"

namespace vostel_companion {

std::string Transcript::text() const {
    std::string text;
    for (const TranscriptSegment& segment : segments) {
        if (!text.empty()) text += ' ';
        text += segment.text;
    }
    return text;
}

} // namespace vostel_companion
