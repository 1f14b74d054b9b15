// Recognised speech.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace vostel_companion {

/// One word, and when it was spoken, counted from the beginning of the file.
struct TranscriptSegment {
    std::string text;
    std::chrono::duration<double> startTime{};
    std::chrono::duration<double> endTime{};

    bool operator==(const TranscriptSegment&) const = default;
};

struct Transcript {
    /// In the order in which they were spoken.
    std::vector<TranscriptSegment> segments;

    bool operator==(const Transcript&) const = default;
};

} // namespace vostel_companion
