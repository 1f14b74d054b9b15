// From two tracks of recognised words to the turns of a conversation.
#pragma once

#include "companion/transcript/RecordingLine.h"
#include "companion/transcript/Transcript.h"
#include "companion/transcript/VocabularyRule.h"

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vostel_companion {

/// A silence this long within a track ends a turn, because the other side may have answered.
inline constexpr std::chrono::milliseconds turnPause{1000};

/// The words of one track, with the user's vocabulary applied.
struct SpokenTrack {
    std::vector<TranscriptSegment> words;
    /// ISO 639-1, if known.
    std::optional<std::string> language;
};

/// The turns of both tracks in the order in which they began, with readable text. The microphone's speaker is "Me", the
/// other side "Them".
[[nodiscard]] std::vector<RecordingLine> conversation(const SpokenTrack& microphone, const SpokenTrack& system,
                                                      std::span<const VocabularyRule> vocabulary);

} // namespace vostel_companion
