#include "companion/tools/ReadingTools.h"

#include "companion/store/Dictations.h"
#include "companion/store/Listing.h"
#include "companion/store/Recordings.h"
#include "companion/store/Settings.h"
#include "companion/store/Transcripts.h"
#include "companion/support/InQuotes.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/tools/TruncatedTranscript.h"
#include "kit/tools/MCPOutputLimit.h"

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
using VostelMCPKit::UUID;

namespace {

constexpr const char* readingIsOff = "the setting \"Let agents read your history and recordings\" is off; only "
                                     "the user can turn it on, in Vostel's settings";

using Reader = MCPToolOutcome (*)(const ToolContext&, Database&, const ToolCall&);

/// Runs the tool if the user allows reading. Otherwise its arguments are not even read.
Tool guarded(const ToolContext& context, Reader read) {
    return [context, read](const ToolCall& call) {
        return withDatabase(context, call.cancellation, [&](Database& database) -> MCPToolOutcome {
            const auto settings = loadSettings(database);
            if (!settings) return MCPToolOutcome::failed(settings.error().description());
            if (!settings->isReadingAllowed) return MCPToolOutcome::denied(readingIsOff);
            return read(context, database, call);
        });
    };
}

std::expected<Listing, std::string> listingOf(const ListArguments& arguments, const ToolContext& context) {
    auto listing = Listing::parse(arguments.limit, arguments.since, arguments.until, context.localMidnight);
    if (!listing) return std::unexpected(listing.error().description());
    return *listing;
}

/// The window that a call of the list tool `Signature` asks for, or a sentence about what is wrong with its arguments.
template <class Signature>
std::expected<Listing, std::string> readListing(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<Signature>(call);
    if (!arguments) return std::unexpected(arguments.error());
    return listingOf(*arguments, context);
}

/// A page of stored values as the result of the list tool `Signature`. `things` is what they are called in the plural.
template <class Signature, class Stored>
MCPToolOutcome pageOutcome(const std::expected<Page<Stored>, DatabaseError>& page, const char* things,
                           typename Signature::Entry (*entryOf)(const Stored&), std::string (*linesOf)(const Stored&)) {
    if (!page) return MCPToolOutcome::failed(page.error().description());
    return fittingOutcome(page->entries.size(), [&](std::size_t count) {
        std::string text = pageHeading(count, page->totalCount, things);
        typename Signature::Result result{{}, count, page->totalCount};
        for (const Stored& stored : std::span{page->entries}.first(count)) {
            result.entries.push_back(entryOf(stored));
            text += "\n\n" + linesOf(stored);
        }
        return doneOutcome<Signature>(std::move(text), result);
    });
}

HistoryList::Entry dictationEntry(const Dictation& dictation) {
    return {
        .date = formatTimestamp(dictation.date),
        .text = VostelMCPKit::MCPOutputLimit::shape({.text = dictation.text}).text,
        .outcome = name(dictation.outcome),
        .failureReason = dictation.failureReason,
        .targetApplication = dictation.targetApplication,
        .duration = rounded(dictation.duration),
    };
}

std::string dictationLines(const Dictation& dictation) {
    SummaryLine line{formatTimestamp(dictation.date)};
    line.add(name(dictation.outcome))
        .addKnown(dictation.failureReason)
        .addKnown(dictation.targetApplication)
        .addKnown(dictation.duration);
    return line.text() + "\n" + VostelMCPKit::MCPOutputLimit::shape({.text = dictation.text}).text;
}

MCPToolOutcome listHistory(const ToolContext& context, Database& database, const ToolCall& call) {
    const auto listing = readListing<HistoryList>(context, call);
    if (!listing) return MCPToolOutcome::failed(listing.error());
    return pageOutcome<HistoryList>(Dictations{database}.list(*listing), "dictations", dictationEntry, dictationLines);
}

/// What a list and a single transcript have in common.
TranscriptsList::Entry commonEntry(const TranscriptSummary& summary) {
    return {
        .id = summary.id.text(),
        .date = formatTimestamp(summary.date),
        .source = {.kind = name(summary.source.kind), .value = summary.source.value},
        .duration = rounded(summary.duration),
        .language = summary.language,
        .characterCount = summary.characterCount,
        .preview = std::nullopt,
        .text = std::nullopt,
        .segments = std::nullopt,
    };
}

TranscriptsList::Entry listedEntry(const TranscriptSummary& summary) {
    TranscriptsList::Entry entry = commonEntry(summary);
    entry.preview = summary.preview;
    return entry;
}

std::string transcriptHeading(const TranscriptSummary& summary) {
    SummaryLine line{formatTimestamp(summary.date)};
    line.add(summary.source.value)
        .addKnown(summary.duration)
        .addKnown(summary.language)
        .add(std::to_string(summary.characterCount) + " characters")
        .add("id " + summary.id.text());
    return line.text();
}

std::string transcriptLines(const TranscriptSummary& summary) {
    return transcriptHeading(summary) + "\n" + summary.preview;
}

/// Saves a text that is too long for a result. Absent if that failed.
TruncatedTranscript::SaveWhole saving(const ToolContext& context, const std::string& name, const std::string& text) {
    return [&context, name, &text]() -> std::optional<std::string> {
        const auto path = saveTranscriptFile(context.paths.transcripts(), name, text);
        return path ? std::optional{*path} : std::nullopt;
    };
}

MCPToolOutcome wholeTranscript(const ToolContext& context, const StoredTranscript& transcript) {
    const TranscriptSummary& summary = transcript.summary;
    TruncatedTranscript text{
        transcript.text, endsOfWords(transcript.text),
        saving(context, transcriptFileName(summary.date, titleOf(summary.source), summary.id), transcript.text)};
    return fittingOutcome(text.parts(), [&](std::size_t count) {
        TranscriptsList::Entry entry = commonEntry(summary);
        std::vector<TranscriptsList::Segment>& segments = entry.segments.emplace();
        for (const TranscriptSegment& segment : transcript.segments) {
            segments.push_back({rounded(segment.startTime), rounded(segment.endTime)});
        }
        const std::string words = text.shown(count);
        std::vector<std::string> notes;
        if (words.empty()) notes.push_back("No speech was found in " + inQuotes(summary.source.value) + ".");
        entry.text = withNotes(notes, words);
        if (!hasRoomForTimes(VostelMCPKit::encode(entry))) {
            entry.segments.reset();
            entry.text = withNotes({timesLeftOut(summary.id, text.savedAt())}, words);
        }
        const std::string readable = transcriptHeading(summary) + "\n" + *entry.text;
        return doneOutcome<TranscriptsList>(readable, {{std::move(entry)}, 1, 1});
    });
}

MCPToolOutcome listTranscripts(const ToolContext& context, Database& database, const ToolCall& call) {
    const auto arguments = readArguments<TranscriptsList>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const auto listing = listingOf(arguments->list, context);
    if (!listing) return MCPToolOutcome::failed(listing.error());
    Transcripts transcripts{database};
    const std::optional<std::string>& id = arguments->id;
    if (!id) {
        return pageOutcome<TranscriptsList>(transcripts.list(*listing), "transcripts", listedEntry, transcriptLines);
    }
    // Deliberate: a malformed id is reported like an unknown one.
    const auto found = transcripts.find(UUID::parse(*id).value_or(UUID{}));
    if (!found) return MCPToolOutcome::failed(found.error().description());
    const auto& transcript = *found;
    if (!transcript) {
        return MCPToolOutcome::failed("There is no transcript with the id " + inQuotes(*id) +
                                      "; ids come from a call of transcripts_list without one.");
    }
    return wholeTranscript(context, *transcript);
}

RecordingsList::Entry recordingEntry(const RecordingSummary& summary) {
    return {
        .id = summary.id.text(),
        .startedAt = formatTimestamp(summary.startedAt),
        .duration = rounded(summary.duration),
        .state = name(summary.state),
        .failureReason = summary.failureReason,
        .progress = summary.progress,
        .language = summary.language,
        .lineCount = summary.lineCount,
        .preview = summary.preview,
    };
}

std::string recordingHeading(const RecordingSummary& summary) {
    SummaryLine line{formatTimestamp(summary.startedAt)};
    line.addKnown(summary.duration)
        .add(name(summary.state))
        .addKnown(summary.failureReason)
        .addKnown(summary.language)
        .add(std::to_string(summary.lineCount) + " turns")
        .add("id " + summary.id.text());
    return line.text();
}

std::string recordingLines(const RecordingSummary& summary) {
    return recordingHeading(summary) + "\n" + summary.preview;
}

MCPToolOutcome listRecordings(const ToolContext& context, Database& database, const ToolCall& call) {
    const auto listing = readListing<RecordingsList>(context, call);
    if (!listing) return MCPToolOutcome::failed(listing.error());
    return pageOutcome<RecordingsList>(Recordings{database}.list(*listing), "recordings", recordingEntry,
                                       recordingLines);
}

MCPToolOutcome wholeRecording(const ToolContext& context, const Recording& recording) {
    const RecordingSummary& summary = recording.summary;
    const std::string whole = plainText(recording.lines);
    auto ends = endsOfJoined(recording.lines, [](const RecordingLine& line) { return plainText({&line, 1}).size(); });
    TruncatedTranscript text{whole, std::move(ends),
                             saving(context, transcriptFileName(summary.startedAt, "recording", summary.id), whole)};
    return fittingOutcome(text.parts(), [&](std::size_t count) {
        const std::string words = text.shown(count);
        std::vector<std::string> notes;
        if (words.empty() && summary.state == RecordingSummary::State::ready) {
            notes.emplace_back("No speech was found in this call.");
        }
        RecordingGet::Result result{
            .id = summary.id.text(),
            .startedAt = formatTimestamp(summary.startedAt),
            .duration = rounded(summary.duration),
            .state = name(summary.state),
            .language = summary.language,
            .text = withNotes(notes, words),
            .lines = std::nullopt,
        };
        std::vector<RecordingGet::Turn>& lines = result.lines.emplace();
        for (const RecordingLine& line : std::span{recording.lines}.first(count)) lines.push_back(turnRecord(line));
        if (!hasRoomForTimes(VostelMCPKit::encode(result))) {
            result.lines.reset();
            result.text = withNotes({timesLeftOut(summary.id, text.savedAt())}, words);
        }
        return doneOutcome<RecordingGet>(recordingHeading(summary) + "\n" + result.text, result);
    });
}

MCPToolOutcome getRecording(const ToolContext& context, Database& database, const ToolCall& call) {
    const auto arguments = readArguments<RecordingGet>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const std::string& id = arguments->id;
    const auto found = Recordings{database}.find(UUID::parse(id).value_or(UUID{}));
    if (!found) return MCPToolOutcome::failed(found.error().description());
    const auto& recording = *found;
    if (!recording) {
        return MCPToolOutcome::failed("There is no recording with the id " + inQuotes(id) +
                                      "; ids come from recordings_list.");
    }
    return wholeRecording(context, *recording);
}

} // namespace

void addReadingTools(ToolTable& tools, const ToolContext& context) {
    tools[HistoryList::name] = guarded(context, listHistory);
    tools[TranscriptsList::name] = guarded(context, listTranscripts);
    tools[RecordingsList::name] = guarded(context, listRecordings);
    tools[RecordingGet::name] = guarded(context, getRecording);
}

} // namespace vostel_companion
