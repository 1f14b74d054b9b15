#include "companion/commands/HistoryVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/commands/ListLine.h"
#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/support/TerminalSafe.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcript/Subtitles.h"
#include "companion/transcription/RecognitionCache.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <algorithm>
#include <span>

namespace vostel_companion {

using VostelMCPKit::MCPValue;

namespace {

using Kind = Command::Kind;
using State = RecordingSummary::State;

/// The names of one kind, and the tables that hold it. A recorded call counts as a transcript, too.
struct Naming {
    const char* singular;
    const char* plural;
    std::span<const char* const> tables;
};

constexpr const char* allTables[] = {"transcripts", "recordings", "dictations"};

Naming namingOf(Kind kind) {
    static constexpr std::span<const char* const> tables{allTables};
    switch (kind) {
    case Kind::transcript:
        return {"transcript", "transcripts", tables.first(2)};
    case Kind::recording:
        return {"recording", "recordings", tables.subspan(1, 1)};
    case Kind::dictation:
        break;
    }
    return {"dictation", "dictations", tables.last(1)};
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

ListedThing listed(const TranscriptSummary& summary) {
    return {summary.id, summary.date, durationText(summary.duration),
            sourceText(summary.source) + ": " + previewText(summary.preview)};
}

ListedThing listed(const RecordingSummary& summary) {
    const bool isReady = summary.state == State::ready;
    return {summary.id, summary.startedAt, durationText(summary.duration),
            isReady ? "call: " + previewText(summary.preview) : "call, " + unfinishedText(summary)};
}

ListedThing listed(const Dictation& dictation) {
    std::string what;
    if (dictation.targetApplication) what += "for " + printableLine(*dictation.targetApplication) + ": ";
    if (dictation.outcome == Dictation::Outcome::notDelivered) what += "not delivered: ";
    return {dictation.id, dictation.date, durationText(dictation.duration), what + previewText(dictation.text)};
}

/// The newest entries of one or two tables.
struct Collected {
    std::vector<ListedThing> things;
    std::int64_t totalCount = 0;

    template <class Summary>
    [[nodiscard]] std::expected<void, DatabaseError> add(const std::expected<Page<Summary>, DatabaseError>& page) {
        if (!page) return std::unexpected(page.error());
        for (const Summary& summary : page->entries) things.push_back(listed(summary));
        totalCount += page->totalCount;
        return {};
    }
};

std::expected<Collected, DatabaseError> collect(Kind kind, const Listing& listing, Database& database) {
    Collected all;
    auto added = kind == Kind::dictation ? all.add(Dictations{database}.list(listing))
                                         : all.add(Recordings{database}.list(listing));
    if (added && kind == Kind::transcript) added = all.add(Transcripts{database}.list(listing));
    if (!added) return std::unexpected(std::move(added.error()));
    std::ranges::stable_sort(all.things, std::ranges::greater{}, &ListedThing::date);
    if (all.things.size() > static_cast<std::size_t>(listing.limit)) {
        all.things.resize(static_cast<std::size_t>(listing.limit));
    }
    return all;
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

std::string subtitleText(Command::Show::Format format, const std::vector<Subtitle>& shown) {
    return format == Command::Show::Format::srt ? srtText(shown) : vttText(shown);
}

void showTranscript(const StoredTranscript& transcript, Command::Show::Format format, CommandContext& context) {
    using Format = Command::Show::Format;
    if (transcript.text.empty()) context.printError("No speech was found in this transcript's recording.");
    const std::string text = format == Format::json    ? jsonText(jsonRecord(transcript))
                             : format != Format::text  ? subtitleText(format, subtitles(transcript.segments))
                             : transcript.text.empty() ? std::string{}
                                                       : transcript.text + "\n";
    context.print(printable(text));
}

Exit showCall(const Recording& call, Command::Show::Format format, CommandContext& context) {
    using Format = Command::Show::Format;
    if (call.summary.state != State::ready) {
        context.printError("This call has no transcript: " + unfinishedText(call.summary));
        return Exit::refused;
    }
    if (call.lines.empty()) context.printError("No speech was found in this call.");
    const std::string text = format == Format::json   ? jsonText(jsonRecord(call))
                             : format != Format::text ? subtitleText(format, subtitles(call.lines))
                             : call.lines.empty()     ? std::string{}
                                                      : plainText(call.lines) + "\n";
    context.print(printable(text));
    return Exit::done;
}

} // namespace

Exit run(const Command::List& verb, CommandContext& context) {
    const auto listing = Listing::parse(verb.limit, verb.since, verb.until, context.localMidnight);
    if (!listing) return context.failed(listing.error());
    const auto found = collect(verb.kind, *listing, context.database);
    if (!found) return context.failed(found.error());

    for (const ListedThing& thing : found->things) context.print(listLine(thing, context.columns));
    const std::int64_t hidden = found->totalCount - static_cast<std::int64_t>(found->things.size());
    if (found->things.empty()) {
        context.printError(std::string{"There are no "} + namingOf(verb.kind).plural + ", or none in this period.");
    }
    if (hidden > 0) {
        context.printError(std::to_string(hidden) +
                           " more are not listed; narrow the list with --since and --until, or raise --limit.");
    }
    return Exit::done;
}

Exit run(const Command::Show& verb, CommandContext& context) {
    const Naming naming = namingOf(verb.kind);
    const auto id = findByID(context, naming.tables, naming.singular, verb.id);
    if (!id) return id.error();
    if (verb.kind == Kind::dictation) {
        const auto dictation = Dictations{context.database}.find(*id);
        if (!dictation) return context.failed(dictation.error());
        context.print(printable(dictation->value_or(Dictation{}).text) + "\n");
        return Exit::done;
    }
    const auto transcript = Transcripts{context.database}.find(*id);
    if (!transcript) return context.failed(transcript.error());
    if (const std::optional<StoredTranscript>& found = *transcript) {
        showTranscript(*found, verb.format, context);
        return Exit::done;
    }
    const auto recording = Recordings{context.database}.find(*id);
    if (!recording) return context.failed(recording.error());
    return showCall(recording->value_or(Recording{}), verb.format, context);
}

Exit run(const Command::Delete& verb, CommandContext& context) {
    const Naming naming = namingOf(verb.kind);
    const auto id = findByID(context, naming.tables, naming.singular, verb.id);
    if (!id) return id.error();
    Transcripts transcripts{context.database};
    const auto transcript = transcripts.find(*id);
    if (!transcript) return context.failed(transcript.error());
    // Deletes the files first. If that fails, the entry still names them, and the command can be repeated.
    if (const auto done = deleteTranscriptFile(context.paths.transcripts(), *id); !done) {
        return context.failed(done.error());
    }
    if (const std::optional<StoredTranscript>& found = *transcript) {
        RecognitionCache{context.paths.recognised(), context.paths.downloads()}.forget(found->summary.source.value);
    }
    // No two of these have the same id.
    for (const auto& done : {transcripts.remove(*id), Recordings{context.database}.remove(*id),
                             Dictations{context.database}.remove(*id)}) {
        if (!done) return context.failed(done.error());
    }
    context.print("Deleted " + id->text() + ".\n");
    return Exit::done;
}

} // namespace vostel_companion
