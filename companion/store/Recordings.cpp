#include "companion/store/Recordings.h"

#include "companion/store/SearchIndex.h"
#include "kit/support/CharacterCount.h"
#include "kit/support/Unicode.h"

#include <algorithm>

namespace vostel_companion {

namespace {

using VostelMCPKit::repairedUTF8;
using VostelMCPKit::UUID;
using State = RecordingSummary::State;
using Track = RecordingLine::Track;

constexpr const char* recordingColumns =
    "id, date, duration, state, failureReason, progress, language, lineCount, preview";

State stateNamed(std::string_view text) {
    for (const State state : {State::recording, State::transcribing, State::ready}) {
        if (text == name(state)) return state;
    }
    return State::failed;
}

RecordingSummary readRecordingSummary(const Statement& row) {
    return {UUID::parse(row.text(0)).value_or(UUID{}),
            row.timestamp(1),
            row.optionalSeconds(2),
            stateNamed(row.text(3)),
            row.optionalText(4),
            row.optionalReal(5),
            row.optionalText(6),
            row.integer(7),
            row.text(8)};
}

/// Runs an update of one recording. Returns whether there was one.
std::expected<bool, DatabaseError> runUpdate(Database& database, Statement& update) {
    if (auto done = update.run(); !done) return std::unexpected(std::move(done.error()));
    return database.changes() > 0;
}

/// What was said, without the speakers' names.
std::string wordsOf(std::span<const RecordingLine> lines) {
    std::string words;
    for (const RecordingLine& line : lines) words += (words.empty() ? "" : "\n") + line.text;
    return words;
}

} // namespace

const char* name(RecordingSummary::State state) {
    switch (state) {
    case State::recording:
        return "recording";
    case State::transcribing:
        return "transcribing";
    case State::ready:
        return "ready";
    case State::failed:
        break;
    }
    return "failed";
}

std::expected<void, DatabaseError> Recordings::begin(const UUID& id, Timestamp startedAt) {
    Statement insert{database_, "INSERT INTO recordings (id, date, state, lineCount, preview) "
                                "VALUES (?, ?, 'recording', 0, '')"};
    return insert.bind(id.text(), startedAt).run();
}

std::expected<bool, DatabaseError> Recordings::beginTranscribing(const UUID& id, Seconds duration) {
    Statement update{database_, "UPDATE recordings SET state = 'transcribing', progress = 0, duration = ? "
                                "WHERE id = ? AND state = 'recording'"};
    return runUpdate(database_, update.bind(duration, id.text()));
}

std::expected<bool, DatabaseError> Recordings::reportProgress(const UUID& id, double progress) {
    Statement update{database_, "UPDATE recordings SET progress = ? WHERE id = ? AND state = 'transcribing'"};
    // Not std::clamp, which would keep a NaN.
    const double fraction = progress > 0 ? std::min(progress, 1.0) : 0;
    return runUpdate(database_, update.bind(fraction, id.text()));
}

std::expected<bool, DatabaseError> Recordings::finish(const UUID& id, const std::optional<std::string>& language,
                                                      std::vector<RecordingLine> lines) {
    for (RecordingLine& line : lines) {
        line.text = repairedUTF8(line.text);
        // One turn is one line of the plain text.
        std::ranges::replace(line.text, '\n', ' ');
    }
    std::ranges::stable_sort(lines, {}, &RecordingLine::startTime);
    const std::string text = plainText(lines);

    return inTransaction(database_, Transaction::Kind::writing, [&]() -> std::expected<bool, DatabaseError> {
        Statement update{database_, "UPDATE recordings SET state = 'ready', progress = NULL, language = ?, "
                                    "lineCount = ?, preview = ? WHERE id = ? AND state = 'transcribing'"};
        update.bind(language, static_cast<std::int64_t>(lines.size()),
                    text.substr(0, VostelMCPKit::countCharacters(text, previewLength).prefixBytes), id.text());
        const auto isUpdated = runUpdate(database_, update);
        if (!isUpdated || !*isUpdated) return isUpdated;

        Statement insert{database_, "INSERT INTO recordingLines (recording, position, track, speaker, startTime, "
                                    "endTime, text) VALUES ((SELECT number FROM recordings WHERE id = ?), "
                                    "?, ?, ?, ?, ?, ?)"};
        std::int64_t position = 0;
        for (const RecordingLine& line : lines) {
            insert.bind(id.text(), position++, name(line.track), line.speaker, line.startTime, line.endTime, line.text);
            if (auto done = insert.run(); !done) return std::unexpected(std::move(done.error()));
        }
        auto added = SearchIndex{database_}.add(SearchHit::Kind::recording, id, wordsOf(lines));
        if (!added) return std::unexpected(std::move(added.error()));
        return true;
    });
}

std::expected<bool, DatabaseError> Recordings::fail(const UUID& id, const std::string& reason) {
    Statement update{database_, "UPDATE recordings SET state = 'failed', progress = NULL, failureReason = ? "
                                "WHERE id = ? AND state IN ('recording', 'transcribing')"};
    return runUpdate(database_, update.bind(repairedUTF8(reason), id.text()));
}

std::expected<std::size_t, DatabaseError> Recordings::failAbandoned(const std::function<bool(const UUID&)>& isWorkedOn,
                                                                    const std::string& reason) {
    Statement select{database_, "SELECT id FROM recordings WHERE state IN ('recording', 'transcribing')"};
    const auto unfinished = select.all([](const Statement& row) { return UUID::parse(row.text(0)).value_or(UUID{}); });
    if (!unfinished) return std::unexpected(unfinished.error());
    std::size_t count = 0;
    for (const UUID& id : *unfinished) {
        if (isWorkedOn(id)) continue;
        const auto isFailed = fail(id, reason);
        if (!isFailed) return std::unexpected(isFailed.error());
        if (*isFailed) ++count;
    }
    return count;
}

std::expected<Page<RecordingSummary>, DatabaseError> Recordings::list(const Listing& listing) {
    return readPage(database_, listing, "recordings", recordingColumns, readRecordingSummary);
}

std::expected<std::optional<Recording>, DatabaseError> Recordings::find(const UUID& id) {
    using Result = std::expected<std::optional<Recording>, DatabaseError>;
    return inTransaction(database_, Transaction::Kind::reading, [&]() -> Result {
        Statement select{database_, std::string{"SELECT "} + recordingColumns + " FROM recordings WHERE id = ?"};
        auto found =
            select.bind(id.text()).first([](const Statement& row) { return Recording{readRecordingSummary(row), {}}; });
        if (!found || !*found) return found;

        Statement selectLines{database_, "SELECT track, speaker, text, startTime, endTime FROM recordingLines WHERE "
                                         "recording = (SELECT number FROM recordings WHERE id = ?) ORDER BY position"};
        auto lines = selectLines.bind(id.text()).all([](const Statement& row) {
            const Track track = row.text(0) == name(Track::microphone) ? Track::microphone : Track::system;
            return RecordingLine{track, row.text(1), row.text(2), row.seconds(3), row.seconds(4)};
        });
        if (!lines) return std::unexpected(std::move(lines.error()));
        (*found)->lines = std::move(*lines);
        return found;
    });
}

std::expected<void, DatabaseError> Recordings::remove(const UUID& id) {
    return SearchIndex{database_}.removeEntry(SearchHit::Kind::recording, id);
}

} // namespace vostel_companion
