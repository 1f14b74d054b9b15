#include "companion/commands/TranscriptVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/support/TerminalSafe.h"
#include "companion/support/Wording.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcript/Subtitles.h"
#include "companion/transcription/RecognitionCache.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/CharacterCount.h"

#include <algorithm>
#include <filesystem>

namespace vostel_companion {

using VostelMCPKit::MCPValue;

namespace {

using State = RecordingSummary::State;

/// In user-perceived characters: the room that id and date leave in a line.
constexpr std::int64_t previewCharacters = 60;

/// A transcript of either kind, as the list shows it.
struct Entry {
    Timestamp date;
    std::string line;
};

std::string previewText(const std::string& preview) {
    const std::string line = printableLine(preview);
    const std::size_t shown = VostelMCPKit::countCharacters(line, previewCharacters).prefixBytes;
    return line.substr(0, shown) + (shown < line.size() ? "…" : "");
}

Entry entryOf(const VostelMCPKit::UUID& id, Timestamp date, const std::optional<Seconds>& duration,
              const std::string& what) {
    const std::string length = duration ? clockText(std::chrono::round<std::chrono::seconds>(*duration)) : "-";
    return {date, id.text() + "  " + localTimeText(date) + "  " + length + "  " + what + "\n"};
}

Entry entryOf(const TranscriptSummary& summary) {
    const TranscriptSource& source = summary.source;
    const std::string name = source.kind == TranscriptSource::Kind::file
                                 ? std::filesystem::path{source.value}.filename().string()
                                 : source.value;
    return entryOf(summary.id, summary.date, summary.duration,
                   printableLine(name) + ": " + previewText(summary.preview));
}

std::string unfinishedText(const RecordingSummary& summary) {
    switch (summary.state) {
    case State::recording:
        return "still being recorded";
    case State::transcribing:
        return "being transcribed, " + std::to_string(static_cast<int>(summary.progress.value_or(0) * 100)) + "% done";
    case State::failed:
        return "failed: " + printableLine(summary.failureReason.value_or("The reason is unknown."));
    case State::ready:
        break;
    }
    return {};
}

Entry entryOf(const RecordingSummary& summary) {
    const bool isReady = summary.state == State::ready;
    return entryOf(summary.id, summary.startedAt, summary.duration,
                   isReady ? "call: " + previewText(summary.preview) : "call, " + unfinishedText(summary));
}

/// The words and their times, as transcribe_file returns them.
MCPValue jsonRecord(const StoredTranscript& transcript) {
    TranscriptionResult record{transcript.text, std::nullopt};
    std::vector<TranscriptionResult::Segment>& segments = record.segments.emplace();
    for (const TranscriptSegment& segment : transcript.segments) {
        segments.push_back({segment.text, rounded(segment.startTime), rounded(segment.endTime)});
    }
    return VostelMCPKit::encode(record);
}

/// The turns and their times, as recording_get returns them.
MCPValue jsonRecord(const Recording& recording) {
    std::vector<MCPValue> lines;
    for (const RecordingLine& line : recording.lines) lines.push_back(VostelMCPKit::encode(turnRecord(line)));
    return MCPValue::object({{"text", plainText(recording.lines)}, {"lines", MCPValue::array(std::move(lines))}});
}

std::string jsonText(const MCPValue& record) {
    VostelMCPKit::Bytes text;
    // Cannot fail: the record has no infinite number.
    std::ignore = VostelMCPKit::writeJSON(record, text);
    return std::string{text.text()} + "\n";
}

std::string subtitleText(Command::ShowTranscript::Format format, const std::vector<Subtitle>& shown) {
    return format == Command::ShowTranscript::Format::srt ? srtText(shown) : vttText(shown);
}

} // namespace

Exit run(const Command::ListTranscripts& verb, CommandContext& context) {
    const auto listing = Listing::parse(verb.limit, verb.since, verb.until, context.localMidnight);
    if (!listing) return context.failed(listing.error());
    const auto transcripts = Transcripts{context.database}.list(*listing);
    if (!transcripts) return context.failed(transcripts.error());
    const auto recordings = Recordings{context.database}.list(*listing);
    if (!recordings) return context.failed(recordings.error());

    std::vector<Entry> entries;
    for (const TranscriptSummary& summary : transcripts->entries) entries.push_back(entryOf(summary));
    for (const RecordingSummary& summary : recordings->entries) entries.push_back(entryOf(summary));
    std::ranges::stable_sort(entries, std::ranges::greater{}, &Entry::date);
    const std::size_t shown = std::min(entries.size(), static_cast<std::size_t>(listing->limit));
    for (std::size_t index = 0; index < shown; ++index) context.print(entries[index].line);

    const std::int64_t hidden = transcripts->totalCount + recordings->totalCount - static_cast<std::int64_t>(shown);
    if (shown == 0) context.printError("There are no transcripts, or none in this period.");
    if (hidden > 0) {
        context.printError(std::to_string(hidden) +
                           " more are not listed; narrow the list with --since and --until, or raise --limit.");
    }
    return Exit::done;
}

Exit run(const Command::ShowTranscript& verb, CommandContext& context) {
    using Format = Command::ShowTranscript::Format;
    static constexpr const char* tables[] = {"transcripts", "recordings"};
    const auto id = findByID(context, tables, "transcript", verb.id);
    if (!id) return id.error();
    const auto transcript = Transcripts{context.database}.find(*id);
    if (!transcript) return context.failed(transcript.error());
    if (const std::optional<StoredTranscript>& found = *transcript) {
        const std::string text = verb.format == Format::text   ? found->text + "\n"
                                 : verb.format == Format::json ? jsonText(jsonRecord(*found))
                                                               : subtitleText(verb.format, subtitles(found->segments));
        context.print(printable(text));
        return Exit::done;
    }
    const auto recording = Recordings{context.database}.find(*id);
    if (!recording) return context.failed(recording.error());
    const Recording call = recording->value_or(Recording{});
    if (call.summary.state != State::ready) {
        context.printError("This call has no transcript: " + unfinishedText(call.summary));
        return Exit::refused;
    }
    if (verb.format == Format::json) {
        context.print(printable(jsonText(jsonRecord(call))));
    } else if (verb.format != Format::text) {
        context.print(printable(subtitleText(verb.format, subtitles(call.lines))));
    } else if (!call.lines.empty()) {
        context.print(printable(plainText(call.lines)) + "\n");
    }
    return Exit::done;
}

Exit run(const Command::DeleteTranscript& verb, CommandContext& context) {
    static constexpr const char* tables[] = {"transcripts", "recordings"};
    const auto id = findByID(context, tables, "transcript", verb.id);
    if (!id) return id.error();
    Transcripts transcripts{context.database};
    const auto transcript = transcripts.find(*id);
    if (!transcript) return context.failed(transcript.error());
    // Files first: if one cannot be deleted, the entry still leads to it.
    if (const auto done = deleteTranscriptFile(context.paths.transcripts(), *id); !done) {
        return context.failed(done.error());
    }
    if (const std::optional<StoredTranscript>& found = *transcript) {
        RecognitionCache{context.paths.recognised(), context.paths.downloads()}.forget(found->summary.source.value);
        if (const auto done = transcripts.remove(*id); !done) return context.failed(done.error());
    } else if (const auto done = Recordings{context.database}.remove(*id); !done) {
        return context.failed(done.error());
    }
    context.print("Deleted " + id->text() + ".\n");
    return Exit::done;
}

} // namespace vostel_companion
