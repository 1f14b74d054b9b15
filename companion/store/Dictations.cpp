#include "companion/store/Dictations.h"

#include "companion/store/SearchIndex.h"
#include "kit/support/Unicode.h"

namespace vostel_companion {

namespace {

using Outcome = Dictation::Outcome;
using VostelMCPKit::UUID;

constexpr const char* dictationColumns = "id, date, text, outcome, failureReason, targetApplication, duration";

Outcome outcomeNamed(std::string_view text) {
    for (const Outcome outcome : {Outcome::delivered, Outcome::notDelivered}) {
        if (text == name(outcome)) return outcome;
    }
    return Outcome::pending;
}

Dictation readDictation(const Statement& row) {
    return {UUID::parse(row.text(0)).value_or(UUID{}),
            row.timestamp(1),
            row.text(2),
            outcomeNamed(row.text(3)),
            row.optionalText(4),
            row.optionalText(5),
            row.optionalSeconds(6)};
}

} // namespace

const char* name(Dictation::Outcome outcome) {
    switch (outcome) {
    case Outcome::delivered:
        return "delivered";
    case Outcome::notDelivered:
        return "notDelivered";
    case Outcome::pending:
        break;
    }
    return "pending";
}

std::expected<void, DatabaseError> Dictations::add(const Dictation& dictation) {
    const std::string text = VostelMCPKit::repairedUTF8(dictation.text);
    return inTransaction(database_, Transaction::Kind::writing, [&]() -> std::expected<void, DatabaseError> {
        Statement insert{database_,
                         std::string{"INSERT INTO dictations ("} + dictationColumns + ") VALUES (?, ?, ?, ?, ?, ?, ?)"};
        insert.bind(dictation.id.text(), dictation.date, text, name(dictation.outcome), dictation.failureReason,
                    dictation.targetApplication, dictation.duration);
        if (auto done = insert.run(); !done) return done;
        return SearchIndex{database_}.add(SearchHit::Kind::dictation, dictation.id, text);
    });
}

std::expected<bool, DatabaseError> Dictations::finish(const UUID& id, const std::optional<std::string>& failureReason) {
    Statement update{database_,
                     "UPDATE dictations SET outcome = ?, failureReason = ? WHERE id = ? AND outcome = 'pending'"};
    update.bind(name(failureReason ? Outcome::notDelivered : Outcome::delivered), failureReason, id.text());
    if (auto done = update.run(); !done) return std::unexpected(std::move(done.error()));
    return database_.changes() > 0;
}

std::expected<Page<Dictation>, DatabaseError> Dictations::list(const Listing& listing) {
    return readPage(database_, listing, "dictations", dictationColumns, readDictation);
}

std::expected<std::optional<Dictation>, DatabaseError> Dictations::find(const UUID& id) {
    Statement select{database_, std::string{"SELECT "} + dictationColumns + " FROM dictations WHERE id = ?"};
    return select.bind(id.text()).first(readDictation);
}

std::expected<void, DatabaseError> Dictations::remove(const UUID& id) {
    return SearchIndex{database_}.removeEntry(SearchHit::Kind::dictation, id);
}

} // namespace vostel_companion
