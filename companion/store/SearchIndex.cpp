#include "companion/store/SearchIndex.h"

#include "kit/support/Unicode.h"

#include <utility>

namespace vostel_companion {

namespace {

using Kind = SearchHit::Kind;
using VostelMCPKit::UUID;

const char* tableOf(Kind kind) {
    switch (kind) {
    case Kind::transcript:
        return "transcripts";
    case Kind::recording:
        return "recordings";
    case Kind::dictation:
        break;
    }
    return "dictations";
}

/// The query that gives the row number in the index. Its parameter is the id.
std::string placeQuery(Kind kind, const std::string& more = "") {
    return "SELECT 4 * number + " + std::to_string(static_cast<std::int64_t>(kind)) + more + " FROM " + tableOf(kind) +
           " WHERE id = ?";
}

/// The phrases as an FTS5 query: each one in quotes, with a star after it. Empty if no phrase is searchable.
std::string matchExpression(std::span<const std::string> phrases) {
    std::string expression;
    for (const std::string& phrase : phrases) {
        if (!isSearchable(phrase)) continue;
        expression += '"';
        for (const char character : VostelMCPKit::repairedUTF8(phrase)) {
            expression.append(character == '"' ? 2 : 1, character);
        }
        expression += "\"* ";
    }
    return expression;
}

// The subquery chooses the newest before any excerpt is made, because an excerpt reads the whole text. CROSS JOIN keeps
// SQLite from searching again for each of them.
constexpr const char* newestHits = R"sql(
SELECT newest.place & 3, id, moment, sourceKind, sourceValue, snippet(searchIndex, 0, '', '', '…', 10), total
FROM searchIndex CROSS JOIN (
    SELECT place, coalesce(t.id, r.id, d.id) AS id, coalesce(t.date, r.date, d.date) AS moment,
        t.sourceKind, t.sourceValue, count(*) OVER () AS total
    FROM (SELECT rowid AS place FROM searchIndex WHERE searchIndex MATCH ?1)
    LEFT JOIN transcripts AS t ON place & 3 = 0 AND t.number = place >> 2
    LEFT JOIN recordings AS r ON place & 3 = 1 AND r.number = place >> 2
    LEFT JOIN dictations AS d ON place & 3 = 2 AND d.number = place >> 2
    WHERE moment BETWEEN ?2 AND ?3
    ORDER BY moment DESC, place DESC LIMIT ?4
) AS newest ON newest.place = searchIndex.rowid
WHERE searchIndex MATCH ?1
ORDER BY moment DESC, newest.place DESC
)sql";

} // namespace

bool isSearchable(std::string_view phrase) {
    while (!phrase.empty()) {
        const auto codePoint = VostelMCPKit::takeCodePoint(phrase);
        const auto category = codePoint ? VostelMCPKit::categoryOf(*codePoint) : VostelMCPKit::Category::other;
        if (category == VostelMCPKit::Category::letter || category == VostelMCPKit::Category::number) return true;
    }
    return false;
}

std::expected<void, DatabaseError> SearchIndex::add(Kind kind, const UUID& id, std::string_view text) {
    Statement insert{database_, "INSERT INTO searchIndex (rowid, text) " + placeQuery(kind, ", ?")};
    return insert.bind(text, id.text()).run();
}

std::expected<void, DatabaseError> SearchIndex::removeEntry(Kind kind, const UUID& id) {
    return inTransaction(database_, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
        Statement removeText{database_, "DELETE FROM searchIndex WHERE rowid = (" + placeQuery(kind) + ")"};
        if (auto done = removeText.bind(id.text()).run(); !done) return done;
        // FTS5 only marks the text as deleted. Its words leave the index when the index is rewritten.
        if (auto done = database_.execute("INSERT INTO searchIndex (searchIndex) VALUES ('optimize')"); !done) {
            return done;
        }
        Statement removeRow{database_, std::string{"DELETE FROM "} + tableOf(kind) + " WHERE id = ?"};
        return removeRow.bind(id.text()).run();
    });
}

std::expected<Page<SearchHit>, DatabaseError> SearchIndex::find(std::span<const std::string> phrases,
                                                                const Listing& listing) {
    const std::string expression = matchExpression(phrases);
    if (expression.empty()) return Page<SearchHit>{};
    Page<SearchHit> page;
    Statement select{database_, newestHits};
    select.bind(expression, listing.since.value_or(Timestamp::min()), listing.until.value_or(Timestamp::max()),
                listing.limit);
    auto hits = select.all([&](const Statement& row) {
        page.totalCount = row.integer(6);
        const auto kind = static_cast<Kind>(row.integer(0));
        std::optional<TranscriptSource> source;
        if (kind == Kind::transcript) source = {sourceKindNamed(row.text(3)), row.text(4)};
        return SearchHit{kind, UUID::parse(row.text(1)).value_or(UUID{}), row.timestamp(2), std::move(source),
                         row.text(5)};
    });
    if (!hits) return std::unexpected(std::move(hits.error()));
    page.entries = *std::move(hits);
    return page;
}

} // namespace vostel_companion
