#include "companion/tools/TranscriptionTools.h"

#include "companion/tools/Arguments.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/StoredTranscription.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TruncatedTranscript.h"

#include <algorithm>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;

namespace {

MCPToolOutcome outcomeOf(const StoredTranscription& stored) {
    TruncatedTranscript text{stored.text, endsOfWords(stored.text), [&] { return stored.path; }};
    return fittingOutcome(text.parts(), [&](std::size_t count) {
        const std::string words = text.shown(count);
        TranscriptionResult result{withNotes(stored.notes, words), std::nullopt};
        std::vector<TranscriptionResult::Segment>& times = result.segments.emplace();
        for (const TranscriptSegment& word : stored.transcript.segments) {
            times.push_back({word.text, rounded(word.startTime), rounded(word.endTime)});
        }
        if (!hasRoomForTimes(VostelMCPKit::encode(result))) {
            std::vector<std::string> notes{timesLeftOut(stored.id, stored.path)};
            notes.insert(notes.end(), stored.notes.begin(), stored.notes.end());
            result = {withNotes(notes, words), std::nullopt};
        }
        return doneOutcome<TranscribeFile>(result.text, result);
    });
}

TranscriptSource sourceIn(const TranscribeFile::Arguments& arguments) {
    return {TranscriptSource::Kind::file, arguments.path};
}
TranscriptSource sourceIn(const TranscribeURL::Arguments& arguments) {
    return {TranscriptSource::Kind::link, arguments.url};
}

template <class Signature>
MCPToolOutcome transcribe(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<Signature>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const auto stored = transcribeAndStore(context, sourceIn(*arguments), arguments->language.value_or(""),
                                           call.cancellation, call.progress);
    return stored ? outcomeOf(*stored) : MCPToolOutcome::failed(stored.error());
}

} // namespace

void addTranscriptionTools(ToolTable& tools, const ToolContext& context) {
    tools[TranscribeFile::name] = [context](const ToolCall& call) { return transcribe<TranscribeFile>(context, call); };
    tools[TranscribeURL::name] = [context](const ToolCall& call) { return transcribe<TranscribeURL>(context, call); };
}

} // namespace vostel_companion
