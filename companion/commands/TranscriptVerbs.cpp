#include "companion/commands/TranscriptVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/support/TerminalSafe.h"
#include "companion/terminal/Wording.h"
#include "kit/support/CharacterCount.h"

#include <algorithm>
#include <filesystem>

namespace vostel_companion {

namespace {

using State = RecordingSummary::State;

/// In user-perceived characters: what is left of a usual line behind the id and the date.
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
        return "failed: " + printableLine(summary.failureReason.value_or("for a reason that nobody knows."));
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

} // namespace

Exit run(const Command::ListTranscripts& verb, World& world) {
    const auto listing = Listing::parse(verb.limit, verb.since, verb.until, world.localMidnight);
    if (!listing) return world.failed(listing.error());
    const auto transcripts = Transcripts{world.database}.list(*listing);
    if (!transcripts) return world.failed(transcripts.error());
    const auto recordings = Recordings{world.database}.list(*listing);
    if (!recordings) return world.failed(recordings.error());

    std::vector<Entry> entries;
    for (const TranscriptSummary& summary : transcripts->entries) entries.push_back(entryOf(summary));
    for (const RecordingSummary& summary : recordings->entries) entries.push_back(entryOf(summary));
    std::ranges::stable_sort(entries, std::ranges::greater{}, &Entry::date);
    const std::size_t shown = std::min(entries.size(), static_cast<std::size_t>(listing->limit));
    for (std::size_t index = 0; index < shown; ++index) world.print(entries[index].line);

    const std::int64_t hidden = transcripts->totalCount + recordings->totalCount - static_cast<std::int64_t>(shown);
    if (shown == 0) world.tell("Nothing was transcribed yet, or nothing in that time.");
    if (hidden > 0)
        world.tell(std::to_string(hidden) + " older ones are not listed; --limit, --since and --until choose.");
    return Exit::done;
}

Exit run(const Command::ShowTranscript& verb, World& world) {
    static constexpr const char* tables[] = {"transcripts", "recordings"};
    const auto id = findByID(world, tables, "transcript", verb.id);
    if (!id) return id.error();
    const auto transcript = Transcripts{world.database}.find(*id);
    if (!transcript) return world.failed(transcript.error());
    if (const std::optional<StoredTranscript>& found = *transcript) {
        world.print(printable(found->text) + "\n");
        return Exit::done;
    }
    const auto recording = Recordings{world.database}.find(*id);
    if (!recording) return world.failed(recording.error());
    const Recording call = recording->value_or(Recording{});
    if (call.summary.state != State::ready) {
        world.tell("This call has no transcript: " + unfinishedText(call.summary));
        return Exit::notAsAsked;
    }
    if (!call.lines.empty()) world.print(printable(plainText(call.lines)) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
