// Recognised words in one line.
#pragma once

#include "companion/transcript/Transcript.h"

#include <span>
#include <string>

namespace vostel_tests {

/// The words as they were recognised, with single spaces between them.
[[nodiscard]] inline std::string plainWords(std::span<const vostel_companion::TranscriptSegment> segments) {
    std::string text;
    for (const auto& segment : segments) text += (text.empty() ? "" : " ") + segment.text;
    return text;
}

} // namespace vostel_tests
