#include "companion/store/Transcripts.h"

#include "companion/store/SearchIndex.h"
#include "kit/support/CharacterCount.h"
#include "kit/support/Unicode.h"

namespace vostel_companion {

namespace {

using VostelMCPKit::repairedUTF8;
using VostelMCPKit::UUID;

constexpr const char* transcriptColumns =
    "id, date, sourceKind, sourceValue, duration, language, characterCount, preview";

TranscriptSummary readTranscriptSummary(const Statement& row) {
    return {UUID::parse(row.text(0)).value_or(UUID{}),
            row.timestamp(1),
            {sourceKindNamed(row.text(2)), row.text(3)},
            row.optionalSeconds(4),
            row.optionalText(5),
            row.integer(6),
            row.text(7)};
}

} // namespace

const char* name(TranscriptSource::Kind kind) { return kind == TranscriptSource::Kind::file ? "file" : "link"; }

TranscriptSource::Kind sourceKindNamed(std::string_view name) {
    return name == "link" ? TranscriptSource::Kind::link : TranscriptSource::Kind::file;
}

std::expected<void, DatabaseError> Transcripts::add(const UUID& id, const New& transcript) {
    const std::string text = repairedUTF8(transcript.text);
    const auto count = VostelMCPKit::countCharacters(text, previewLength);
    return inTransaction(database_, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
        Statement insert{database_, "INSERT INTO transcripts (id, date, sourceKind, sourceValue, duration, language, "
                                    "characterCount, preview, text) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"};
        auto done = insert
                        .bind(id.text(), transcript.date, name(transcript.source.kind),
                              repairedUTF8(transcript.source.value), transcript.duration, transcript.language,
                              static_cast<std::int64_t>(count.characters), text.substr(0, count.prefixBytes), text)
                        .run();
        if (!done) return done;

        const std::int64_t number = database_.lastInsertedRow();
        Statement insertSegment{database_, "INSERT INTO transcriptSegments (transcript, position, startTime, endTime, "
                                           "text) VALUES (?, ?, ?, ?, ?)"};
        std::int64_t position = 0;
        for (const TranscriptSegment& segment : transcript.segments) {
            insertSegment.bind(number, position++, segment.startTime, segment.endTime, repairedUTF8(segment.text));
            if (auto stored = insertSegment.run(); !stored) return stored;
        }
        return SearchIndex{database_}.add(SearchHit::Kind::transcript, id, text);
    });
}

std::expected<Page<TranscriptSummary>, DatabaseError> Transcripts::list(const Listing& listing) {
    return readPage(database_, listing, "transcripts", transcriptColumns, readTranscriptSummary);
}

std::expected<std::optional<StoredTranscript>, DatabaseError> Transcripts::find(const UUID& id) {
    using Result = std::expected<std::optional<StoredTranscript>, DatabaseError>;
    return inTransaction(database_, Transaction::Kind::reading, [&]() -> Result {
        Statement select{database_,
                         std::string{"SELECT "} + transcriptColumns + ", text FROM transcripts WHERE id = ?"};
        auto found = select.bind(id.text()).first(
            [](const Statement& row) { return StoredTranscript{readTranscriptSummary(row), row.text(8), {}}; });
        if (!found || !*found) return found;

        Statement selectSegments{database_, "SELECT text, startTime, endTime FROM transcriptSegments WHERE transcript "
                                            "= (SELECT number FROM transcripts WHERE id = ?) ORDER BY position"};
        auto segments = selectSegments.bind(id.text()).all(
            [](const Statement& row) { return TranscriptSegment{row.text(0), row.seconds(1), row.seconds(2)}; });
        if (!segments) return std::unexpected(std::move(segments.error()));
        (*found)->segments = std::move(*segments);
        return found;
    });
}

std::expected<void, DatabaseError> Transcripts::remove(const UUID& id) {
    return SearchIndex{database_}.removeEntry(SearchHit::Kind::transcript, id);
}

} // namespace vostel_companion
