#include "companion/tools/ReadingTools.h"

#include "companion/store/Dictations.h"
#include "companion/store/Listing.h"
#include "companion/store/Recordings.h"
#include "companion/store/Settings.h"
#include "companion/store/Transcripts.h"
#include "companion/support/InQuotes.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/PartedText.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/TranscriptFile.h"
#include "kit/tools/MCPOutputLimit.h"

namespace vostel_companion {

using VostelMCPKit::MCPDenial;
using VostelMCPKit::MCPToolOutcome;
using VostelMCPKit::MCPValue;
using VostelMCPKit::UUID;

namespace {

constexpr const char* readingIsOff = "the setting \"Let agents read your history and recordings\" is off; the user can "
                                     "turn it on with the command: Vostel settings reading on";

using Reader = MCPToolOutcome (*)(const ToolContext&, Database&, const ToolCall&);

/// The tool, once the user allows it; before that it does not even look at its arguments.
Tool guarded(const ToolContext& context, Reader read) {
    return [context, read](const ToolCall& call) {
        return withDatabase(context, call.cancellation, [&](Database& database) -> MCPToolOutcome {
            const auto settings = loadSettings(database);
            if (!settings) return failedOutcome(settings.error().description());
            if (!settings->isReadingAllowed) return {MCPDenial{MCPDenial::Disabled{readingIsOff}}};
            return read(context, database, call);
        });
    };
}

/// What the arguments ask for, or the sentence about what is wrong with them.
std::expected<Listing, std::string> readListing(Arguments& arguments, const LocalMidnight& localMidnight) {
    const auto limit = arguments.integer("limit");
    const auto since = arguments.text("since");
    const auto until = arguments.text("until");
    if (const auto& wrong = arguments.wrong()) return std::unexpected(*wrong);
    auto listing = Listing::parse(limit, since, until, localMidnight);
    if (!listing) return std::unexpected(listing.error().description());
    return *listing;
}

/// How one kind of entry is shown.
template <class Entry>
struct Look {
    const char* things;
    /// The member of the result that holds the entries.
    const char* key;
    MCPValue (*value)(const Entry&);
    std::string (*lines)(const Entry&);
};

template <class Entry>
MCPToolOutcome shown(const std::expected<Page<Entry>, DatabaseError>& page, const Look<Entry>& look) {
    if (!page) return failedOutcome(page.error().description());
    return fittingOutcome(page->entries.size(), [&](std::size_t count) -> MCPToolOutcome {
        std::string text = pageHeading(count, page->totalCount, look.things);
        std::vector<MCPValue> values;
        for (const Entry& entry : std::span{page->entries}.first(count)) {
            values.push_back(look.value(entry));
            text += "\n\n" + look.lines(entry);
        }
        return {
            MCPToolOutcome::Text{std::move(text), MCPValue::object({{look.key, MCPValue::takingArray(values)},
                                                                    {"returnedCount", static_cast<std::int64_t>(count)},
                                                                    {"totalCount", page->totalCount}})}};
    });
}

MCPValue dictationValue(const Dictation& dictation) {
    return Members{}
        .add("date", MCPValue{formatTimestamp(dictation.date)})
        .add("text", MCPValue{VostelMCPKit::MCPOutputLimit::shape(dictation.text, std::nullopt).text})
        .add("outcome", MCPValue{name(dictation.outcome)})
        .add("failureReason", dictation.failureReason)
        .add("targetApplication", dictation.targetApplication)
        .add("duration", dictation.duration)
        .object();
}

std::string dictationLines(const Dictation& dictation) {
    Line line{formatTimestamp(dictation.date)};
    line.add(name(dictation.outcome))
        .addKnown(dictation.failureReason)
        .addKnown(dictation.targetApplication)
        .addKnown(dictation.duration);
    return std::move(line).take() + "\n" + VostelMCPKit::MCPOutputLimit::shape(dictation.text, std::nullopt).text;
}

MCPToolOutcome listHistory(const ToolContext& context, Database& database, const ToolCall& call) {
    Arguments arguments{call, "history_list", {"limit", "since", "until"}};
    const auto listing = readListing(arguments, context.localMidnight);
    if (!listing) return failedOutcome(listing.error());
    return shown(Dictations{database}.list(*listing),
                 Look<Dictation>{"dictations", "entries", dictationValue, dictationLines});
}

/// Without the preview, which only a list has.
Members transcriptMembers(const TranscriptSummary& summary) {
    Members members;
    members.add("id", MCPValue{summary.id.text()})
        .add("date", MCPValue{formatTimestamp(summary.date)})
        .add("source", MCPValue::object({{"kind", name(summary.source.kind)}, {"value", summary.source.value}}))
        .add("duration", summary.duration)
        .add("language", summary.language)
        .add("characterCount", MCPValue{summary.characterCount});
    return members;
}

MCPValue transcriptValue(const TranscriptSummary& summary) {
    return transcriptMembers(summary).add("preview", MCPValue{summary.preview}).object();
}

std::string transcriptHeading(const TranscriptSummary& summary) {
    Line line{formatTimestamp(summary.date)};
    line.add(summary.source.value)
        .addKnown(summary.duration)
        .addKnown(summary.language)
        .add(std::to_string(summary.characterCount) + " characters")
        .add("id " + summary.id.text());
    return std::move(line).take();
}

std::string transcriptLines(const TranscriptSummary& summary) {
    return transcriptHeading(summary) + "\n" + summary.preview;
}

/// Where the whole of a text lies that is too long for a result; absent when it could not be saved.
PartedText::SaveWhole saving(const ToolContext& context, const std::string& name, const std::string& text) {
    return [&context, name, &text]() -> std::optional<std::string> {
        const auto path = saveTranscriptFile(context.paths.transcripts(), name, text);
        return path ? std::optional{*path} : std::nullopt;
    };
}

MCPToolOutcome wholeTranscript(const ToolContext& context, const StoredTranscript& transcript) {
    const TranscriptSummary& summary = transcript.summary;
    std::vector<std::size_t> ends;
    for (const TranscriptSegment& segment : transcript.segments)
        ends.push_back((ends.empty() ? 0 : ends.back() + 1) + segment.text.size());
    PartedText text{
        transcript.text, std::move(ends),
        saving(context, transcriptFileName(summary.date, titleOf(summary.source), summary.id), transcript.text)};
    return fittingOutcome(text.parts(), [&](std::size_t count) -> MCPToolOutcome {
        std::string words = text.shown(count);
        std::vector<MCPValue> segments;
        for (const TranscriptSegment& segment : std::span{transcript.segments}.first(count)) {
            segments.push_back(
                MCPValue::object({{"startTime", rounded(segment.startTime)}, {"endTime", rounded(segment.endTime)}}));
        }
        MCPValue entry = transcriptMembers(summary)
                             .add("text", MCPValue{words})
                             .add("segments", MCPValue::takingArray(segments))
                             .object();
        return {MCPToolOutcome::Text{
            transcriptHeading(summary) + "\n" + words,
            MCPValue::object({{"entries", MCPValue::array({entry})}, {"returnedCount", 1}, {"totalCount", 1}})}};
    });
}

MCPToolOutcome listTranscripts(const ToolContext& context, Database& database, const ToolCall& call) {
    Arguments arguments{call, "transcripts_list", {"id", "limit", "since", "until"}};
    const auto id = arguments.text("id");
    const auto listing = readListing(arguments, context.localMidnight);
    if (!listing) return failedOutcome(listing.error());
    Transcripts transcripts{database};
    if (!id) {
        return shown(transcripts.list(*listing),
                     Look<TranscriptSummary>{"transcripts", "entries", transcriptValue, transcriptLines});
    }
    // Deliberate: what is no id at all names no transcript either, and needs no sentence of its own.
    const auto found = transcripts.find(UUID::parse(*id).value_or(UUID{}));
    if (!found) return failedOutcome(found.error().description());
    const auto& transcript = *found;
    if (!transcript) {
        return failedOutcome("There is no transcript with the id " + inQuotes(*id) +
                             "; ids come from a call of transcripts_list without one.");
    }
    return wholeTranscript(context, *transcript);
}

MCPValue recordingValue(const RecordingSummary& summary) {
    return Members{}
        .add("id", MCPValue{summary.id.text()})
        .add("startedAt", MCPValue{formatTimestamp(summary.startedAt)})
        .add("duration", summary.duration)
        .add("state", MCPValue{name(summary.state)})
        .add("failureReason", summary.failureReason)
        .add("progress", summary.progress)
        .add("language", summary.language)
        .add("lineCount", MCPValue{summary.lineCount})
        .add("preview", MCPValue{summary.preview})
        .object();
}

std::string recordingHeading(const RecordingSummary& summary) {
    Line line{formatTimestamp(summary.startedAt)};
    line.addKnown(summary.duration)
        .add(name(summary.state))
        .addKnown(summary.failureReason)
        .addKnown(summary.language)
        .add(std::to_string(summary.lineCount) + " turns")
        .add("id " + summary.id.text());
    return std::move(line).take();
}

std::string recordingLines(const RecordingSummary& summary) {
    return recordingHeading(summary) + "\n" + summary.preview;
}

MCPToolOutcome listRecordings(const ToolContext& context, Database& database, const ToolCall& call) {
    Arguments arguments{call, "recordings_list", {"limit", "since", "until"}};
    const auto listing = readListing(arguments, context.localMidnight);
    if (!listing) return failedOutcome(listing.error());
    return shown(Recordings{database}.list(*listing),
                 Look<RecordingSummary>{"recordings", "recordings", recordingValue, recordingLines});
}

MCPValue turnValue(const RecordingLine& line) {
    return MCPValue::object({{"track", name(line.track)},
                             {"speaker", line.speaker},
                             {"text", line.text},
                             {"startTime", rounded(line.startTime)},
                             {"endTime", rounded(line.endTime)}});
}

MCPToolOutcome wholeRecording(const ToolContext& context, const Recording& recording) {
    const RecordingSummary& summary = recording.summary;
    const std::string whole = plainText(recording.lines);
    std::vector<std::size_t> ends;
    for (const RecordingLine& line : recording.lines)
        ends.push_back((ends.empty() ? 0 : ends.back() + 1) + plainText({&line, 1}).size());
    PartedText text{whole, std::move(ends),
                    saving(context, transcriptFileName(summary.startedAt, "recording", summary.id), whole)};
    return fittingOutcome(text.parts(), [&](std::size_t count) -> MCPToolOutcome {
        const std::string turns = text.shown(count);
        std::vector<MCPValue> lines;
        for (const RecordingLine& line : std::span{recording.lines}.first(count)) lines.push_back(turnValue(line));
        return {MCPToolOutcome::Text{recordingHeading(summary) + "\n" + turns,
                                     Members{}
                                         .add("id", MCPValue{summary.id.text()})
                                         .add("startedAt", MCPValue{formatTimestamp(summary.startedAt)})
                                         .add("duration", summary.duration)
                                         .add("state", MCPValue{name(summary.state)})
                                         .add("language", summary.language)
                                         .add("text", MCPValue{turns})
                                         .add("lines", MCPValue::takingArray(lines))
                                         .object()}};
    });
}

MCPToolOutcome getRecording(const ToolContext& context, Database& database, const ToolCall& call) {
    Arguments arguments{call, "recording_get", {"id"}};
    const std::string id = arguments.neededText("id");
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    const auto found = Recordings{database}.find(UUID::parse(id).value_or(UUID{}));
    if (!found) return failedOutcome(found.error().description());
    const auto& recording = *found;
    if (!recording) {
        return failedOutcome("There is no recording with the id " + inQuotes(id) + "; ids come from recordings_list.");
    }
    return wholeRecording(context, *recording);
}

} // namespace

void addReadingTools(ToolTable& tools, const ToolContext& context) {
    tools["history_list"] = guarded(context, listHistory);
    tools["transcripts_list"] = guarded(context, listTranscripts);
    tools["recordings_list"] = guarded(context, listRecordings);
    tools["recording_get"] = guarded(context, getRecording);
}

} // namespace vostel_companion
