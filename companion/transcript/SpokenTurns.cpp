#include "companion/transcript/SpokenTurns.h"

#include "companion/transcript/ReadableText.h"

#include <algorithm>

namespace vostel_companion {

namespace {

void appendTurns(RecordingLine::Track track, const char* speaker, const SpokenTrack& spoken,
                 std::span<const VocabularyRule> vocabulary, std::vector<RecordingLine>& turns) {
    std::span<const TranscriptSegment> rest = spoken.words;
    while (!rest.empty()) {
        std::size_t count = 1;
        while (count < rest.size() && rest[count].startTime - rest[count - 1].endTime < turnPause) ++count;
        const auto words = rest.first(count);
        turns.push_back({track, speaker, readableText(words, spoken.language, vocabulary), words.front().startTime,
                         words.back().endTime});
        rest = rest.subspan(count);
    }
}

} // namespace

std::vector<RecordingLine> conversation(const SpokenTrack& microphone, const SpokenTrack& system,
                                        std::span<const VocabularyRule> vocabulary) {
    std::vector<RecordingLine> turns;
    appendTurns(RecordingLine::Track::microphone, "Me", microphone, vocabulary, turns);
    appendTurns(RecordingLine::Track::system, "Them", system, vocabulary, turns);
    std::ranges::stable_sort(turns, {}, &RecordingLine::startTime);
    return turns;
}

} // namespace vostel_companion
