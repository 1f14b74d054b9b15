#include "companion/tools/TranscriptionTools.h"

#include "kit/jsonrpc/MCPValue.h"

#include <cmath>
#include <utility>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
using VostelMCPKit::MCPValue;

namespace {

/// In milliseconds and no finer: recognition works in steps of ten, and short numbers keep long transcripts short.
double seconds(std::chrono::duration<double> time) { return std::round(time.count() * 1000) / 1000; }

MCPValue structured(const std::string& text, const Transcript& transcript) {
    std::vector<MCPValue> segments;
    segments.reserve(transcript.segments.size());
    for (const TranscriptSegment& segment : transcript.segments) {
        segments.push_back(MCPValue::object({{"text", segment.text},
                                             {"startTime", seconds(segment.startTime)},
                                             {"endTime", seconds(segment.endTime)}}));
    }
    return MCPValue::object({{"text", text}, {"segments", MCPValue::takingArray(segments)}});
}

MCPToolOutcome transcribeFile(Transcriber& transcriber, const ToolCall& call) {
    const MCPValue* given = call.arguments["path"];
    const auto path = given != nullptr ? given->asString() : std::nullopt;
    if (!path) return failedOutcome("transcribe_file needs 'path', the absolute path of the file, as a string.");
    const MCPValue* hint = call.arguments["language"];
    const auto language = hint == nullptr || hint->isNull() ? std::string_view{} : hint->asString();
    if (!language) return failedOutcome("transcribe_file takes 'language' as a string, such as 'en'.");

    auto done = transcriber.transcribe(std::string{*path}, std::string{*language}, call.cancellation, call.progress);
    if (!done) return failedOutcome(done.error().description());
    std::string text = done->transcript.text();
    MCPValue result = structured(text, done->transcript);
    return {MCPToolOutcome::Text{std::move(text), std::move(result)}};
}

} // namespace

void addTranscriptionTools(ToolTable& tools, Transcriber& transcriber) {
    tools["transcribe_file"] = [&transcriber](const ToolCall& call) { return transcribeFile(transcriber, call); };
}

} // namespace vostel_companion
