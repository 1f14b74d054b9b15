#include "companion/transcript/SpokenTurns.h"

#include <algorithm>

namespace vostel_companion {

namespace {

void appendTurns(RecordingLine::Track track, const char* speaker, std::span<const TranscriptSegment> words,
                 std::vector<RecordingLine>& turns) {
    const std::size_t first = turns.size();
    for (const TranscriptSegment& word : words) {
        if (turns.size() == first || word.startTime - turns.back().endTime >= turnPause) {
            turns.push_back({track, speaker, word.text, word.startTime, word.endTime});
            continue;
        }
        turns.back().text += " " + word.text;
        turns.back().endTime = word.endTime;
    }
}

} // namespace

std::vector<RecordingLine> conversation(std::span<const TranscriptSegment> microphone,
                                        std::span<const TranscriptSegment> system) {
    std::vector<RecordingLine> turns;
    appendTurns(RecordingLine::Track::microphone, "Me", microphone, turns);
    appendTurns(RecordingLine::Track::system, "Them", system, turns);
    std::ranges::stable_sort(turns, {}, &RecordingLine::startTime);
    return turns;
}

} // namespace vostel_companion
