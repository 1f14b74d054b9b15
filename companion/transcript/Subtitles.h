// Transcripts as subtitles, for players and editors.
#pragma once

#include "companion/support/Time.h"
#include "companion/transcript/RecordingLine.h"
#include "companion/transcript/Transcript.h"

#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// What is shown at one time.
struct Subtitle {
    std::string text;
    Seconds startTime{0};
    Seconds endTime{0};

    bool operator==(const Subtitle&) const = default;
};

/// Subtitles that a viewer can read: a pause of a second ends one, and so do 84 bytes (two lines) or 7 seconds.
[[nodiscard]] std::vector<Subtitle> subtitles(std::span<const TranscriptSegment> words);
/// One for each turn, with its speaker.
[[nodiscard]] std::vector<Subtitle> subtitles(std::span<const RecordingLine> turns);

/// SubRip: numbered, with a comma in the times.
[[nodiscard]] std::string srtText(std::span<const Subtitle> subtitles);
/// WebVTT.
[[nodiscard]] std::string vttText(std::span<const Subtitle> subtitles);

} // namespace vostel_companion
