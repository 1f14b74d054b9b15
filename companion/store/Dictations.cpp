#include "companion/store/Dictations.h"

#include "kit/support/Unicode.h"

namespace vostel_companion {

namespace {

using Outcome = Dictation::Outcome;

Outcome outcomeNamed(std::string_view text) {
    for (const Outcome outcome : {Outcome::delivered, Outcome::notDelivered}) {
        if (text == name(outcome)) return outcome;
    }
    return Outcome::pending;
}

Dictation readDictation(const Statement& row) {
    return {row.moment(0),       row.text(1),         outcomeNamed(row.text(2)),
            row.optionalText(3), row.optionalText(4), row.optionalSeconds(5)};
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

std::expected<Dictations::Number, DatabaseError> Dictations::add(const Dictation& dictation) {
    Statement insert{database_, "INSERT INTO dictations (date, text, outcome, failureReason, targetApplication, "
                                "duration) VALUES (?, ?, ?, ?, ?, ?)"};
    insert.bind(dictation.date, VostelMCPKit::repairedUTF8(dictation.text), name(dictation.outcome),
                dictation.failureReason, dictation.targetApplication, dictation.duration);
    if (auto done = insert.run(); !done) return std::unexpected(std::move(done.error()));
    return Number{database_.lastInsertedRow()};
}

std::expected<bool, DatabaseError> Dictations::finish(Number number, const std::optional<std::string>& failureReason) {
    Statement update{database_,
                     "UPDATE dictations SET outcome = ?, failureReason = ? WHERE id = ? AND outcome = 'pending'"};
    update.bind(name(failureReason ? Outcome::notDelivered : Outcome::delivered), failureReason,
                static_cast<std::int64_t>(number));
    if (auto done = update.run(); !done) return std::unexpected(std::move(done.error()));
    return database_.changes() > 0;
}

std::expected<Page<Dictation>, DatabaseError> Dictations::list(const Listing& listing) {
    return readPage(database_, listing, "dictations", "date, text, outcome, failureReason, targetApplication, duration",
                    readDictation);
}

} // namespace vostel_companion
