// From two tracks of recognised words to the turns of a conversation.
#pragma once

#include "companion/transcript/RecordingLine.h"
#include "companion/transcript/Transcript.h"

#include <chrono>
#include <span>
#include <vector>

namespace vostel_companion {

/// A silence this long within a track ends a turn, because the other side may have answered.
inline constexpr std::chrono::milliseconds turnPause{1000};

/// The turns of both tracks in the order in which they began. The microphone's speaker is "Me", the other side "Them".
[[nodiscard]] std::vector<RecordingLine> conversation(std::span<const TranscriptSegment> microphone,
                                                      std::span<const TranscriptSegment> system);

} // namespace vostel_companion
