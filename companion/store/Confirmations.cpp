#include "companion/store/Confirmations.h"

#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "companion/transcript/WordForm.h"
#include "kit/support/CharacterCount.h"
#include "kit/support/match.h"

#include <algorithm>
#include <limits>
#include <set>

namespace vostel_companion {

namespace {

using VostelMCPKit::UUID;
using VostelMCPKit::MCPConfirmationLogic::Decision;
using VostelMCPKit::MCPConfirmationLogic::Request;
using VostelMCPKit::MCPConfirmationLogic::Status;
using RemoveModel = ConfirmableAction::RemoveModel;
using RemoveWords = ConfirmableAction::RemoveWords;

constexpr std::size_t mostWordsInSummary = 10;
constexpr std::size_t mostCharactersInClient = 60;
constexpr const char* confirmedName = "confirmed";
constexpr const char* deniedName = "denied";

const char* toolOf(const ConfirmableAction& action) {
    return std::holds_alternative<RemoveWords>(action.is) ? "vocabulary_remove" : "model_remove";
}

std::vector<std::string> itemsOf(const ConfirmableAction& action) {
    return VostelMCPKit::match(
        action.is, [](const RemoveWords& removal) { return removal.words; },
        [](const RemoveModel& removal) { return std::vector{removal.identifier}; });
}

ConfirmableAction makeAction(std::string_view tool, std::vector<std::string> items) {
    if (tool == "model_remove") return {RemoveModel{items.empty() ? std::string{} : std::move(items.front())}};
    return {RemoveWords{std::move(items)}};
}

/// The action with its words in their normal form, each once, in the order of their first appearance.
ConfirmableAction normalized(const ConfirmableAction& action) {
    const auto* const removal = std::get_if<RemoveWords>(&action.is);
    if (removal == nullptr) return action;
    RemoveWords result;
    std::set<std::string> keys;
    for (const std::string& given : removal->words) {
        std::string word = normalizedWord(given);
        if (!word.empty() && keys.insert(wordKey(word)).second) result.words.push_back(std::move(word));
    }
    return {std::move(result)};
}

/// The same for two calls that make the same request. Each item is preceded by its length, so two different lists never
/// have the same key.
std::string argumentsKey(const ConfirmableAction& action) {
    std::vector<std::string> items = itemsOf(action);
    if (std::holds_alternative<RemoveWords>(action.is)) std::ranges::transform(items, items.begin(), wordKey);
    std::ranges::sort(items);
    std::string key;
    for (const std::string& item : items) key += std::to_string(item.size()) + ":" + item;
    return key;
}

/// A client's name as it is shown: one line of limited length without control characters, because the client chose it.
std::string shortened(std::string_view client) {
    const std::string line = printableLine(client);
    return line.substr(0, VostelMCPKit::countCharacters(line, mostCharactersInClient).prefixBytes);
}

std::optional<Decision> decisionNamed(const std::optional<std::string>& text) {
    if (!text) return std::nullopt;
    return *text == confirmedName ? Decision::confirmed : Decision::denied;
}

std::string text(const ConfirmableAction& action, std::size_t mostWords) {
    return VostelMCPKit::match(
        action.is,
        [&](const RemoveWords& removal) {
            const std::size_t shown = std::min(removal.words.size(), mostWords);
            const std::size_t count = removal.words.size();
            std::string text = count == 1 ? "Remove the vocabulary rule for "
                                          : "Remove the vocabulary rules for " + std::to_string(count) + " words: ";
            for (std::size_t index = 0; index < shown; ++index) {
                if (index > 0) text += ", ";
                text += inDoubleQuotes(removal.words[index]);
            }
            if (shown < removal.words.size()) {
                text += " and " + std::to_string(removal.words.size() - shown) + " more";
            }
            return text;
        },
        [](const RemoveModel& removal) {
            return "Remove the speech recognition model " + inDoubleQuotes(removal.identifier) + " from disk";
        });
}

} // namespace

std::string ConfirmableAction::description() const { return text(*this, std::numeric_limits<std::size_t>::max()); }

std::string ConfirmableAction::summary() const { return text(*this, mostWordsInSummary); }

std::expected<ConfirmationReport, ConfirmationError> Confirmations::ask(const ConfirmableAction& given,
                                                                        std::string_view client) {
    const ConfirmableAction action = normalized(given);
    if (itemsOf(action).empty()) return std::unexpected(ConfirmationError::NoWords{});
    auto finished = finishInterrupted("tool = ? AND argumentsKey = ?", toolOf(action), argumentsKey(action));
    if (!finished) return std::unexpected(std::move(finished.error()));
    return inTransaction(database_, Transaction::Kind::writing, [&] { return report(action, client); });
}

std::expected<ConfirmationReport, ConfirmationError> Confirmations::report(const ConfirmableAction& action,
                                                                           std::string_view client) {
    if (auto done = forgetOld(); !done) return std::unexpected(std::move(done.error()));
    auto found = load("tool = ? AND argumentsKey = ?", toolOf(action), argumentsKey(action));
    if (!found) return std::unexpected(std::move(found.error()));
    if (found->empty()) return create(action, client);

    Stored& stored = found->front();
    const UUID id = stored.confirmation.request.id;
    const auto over = isOver(stored);
    if (!over) return std::unexpected(over.error());
    if (*over) {
        if (auto done = forget(id); !done) return std::unexpected(std::move(done.error()));
        return create(action, client);
    }
    Status status = statusOf(stored.confirmation);
    // Deliberate: a confirmed removal that another process is about to perform is still pending, because the text for
    // "confirmed" says that it was performed.
    if (status == Status::confirmed && !stored.isPerformed) status = Status::pending;
    if (status == Status::expired) {
        if (auto done = forget(id); !done) return std::unexpected(std::move(done.error()));
    } else if (status != Status::pending && !stored.toldAt) {
        Statement update{database_, "UPDATE confirmations SET toldAt = ? WHERE id = ?"};
        auto done = update.bind(std::chrono::floor<Timestamp::duration>(now_()), id.text()).run();
        if (!done) return std::unexpected(std::move(done.error()));
    }
    return ConfirmationReport{std::move(stored.confirmation), status, /*isNew=*/false, std::move(stored.removed)};
}

std::expected<bool, ConfirmationError> Confirmations::isOver(const Stored& stored) {
    if (!stored.toldAt) return false;
    const auto sinceTold = now_() - *stored.toldAt;
    const bool isToldLongEnough = sinceTold < Seconds{0} || sinceTold >= timeToLive;
    if (isToldLongEnough && stored.confirmation.timeLeft <= Seconds{0}) return true;
    if (!stored.isPerformed) return false;
    return isThere(stored.confirmation.action);
}

std::expected<bool, ConfirmationError> Confirmations::isThere(const ConfirmableAction& action) {
    if (const auto* const removal = std::get_if<RemoveModel>(&action.is)) {
        return models_.installedFolder(removal->identifier).has_value();
    }
    const auto rules = Vocabulary{database_}.list();
    if (!rules) return std::unexpected(rules.error());
    std::set<std::string> keys;
    for (const VocabularyRule& rule : *rules) keys.insert(wordKey(rule.word));
    return std::ranges::any_of(itemsOf(action), [&](const std::string& word) { return keys.contains(wordKey(word)); });
}

Status Confirmations::statusOf(const OpenConfirmation& confirmation) {
    const Request& request = confirmation.request;
    const auto age =
        std::chrono::duration_cast<std::chrono::system_clock::duration>(Seconds{request.ttl} - confirmation.timeLeft);
    return VostelMCPKit::MCPConfirmationLogic::status(request, request.createdAt + age);
}

std::expected<void, DatabaseError> Confirmations::forget(const UUID& id) {
    Statement forget{database_, "DELETE FROM confirmations WHERE id = ?"};
    return forget.bind(id.text()).run();
}

std::expected<ConfirmationReport, ConfirmationError> Confirmations::create(const ConfirmableAction& action,
                                                                           std::string_view client) {
    if (const auto* const removal = std::get_if<RemoveModel>(&action.is)) {
        auto removable = models_.checkRemovable(removal->identifier);
        if (!removable) return std::unexpected(std::move(removable.error()));
    }
    const Timestamp createdAt = std::chrono::floor<Timestamp::duration>(now_());
    const Request request{newID_(), createdAt, timeToLive, std::nullopt};
    const auto madeAt = std::chrono::floor<std::chrono::milliseconds>(steadyNow_().time_since_epoch());
    const std::string who = shortened(client);
    Statement insert{database_, "INSERT INTO confirmations (id, tool, argumentsKey, createdAt, ttl, client, madeAt) "
                                "VALUES (?, ?, ?, ?, ?, ?, ?)"};
    insert.bind(request.id.text(), toolOf(action), argumentsKey(action), createdAt, Seconds{timeToLive}, who,
                std::int64_t{madeAt.count()});
    if (auto done = insert.run(); !done) return std::unexpected(std::move(done.error()));

    Statement insertItem{database_, "INSERT INTO confirmationItems (confirmation, position, item) VALUES (?, ?, ?)"};
    std::int64_t position = 0;
    for (const std::string& item : itemsOf(action)) {
        auto done = insertItem.bind(request.id.text(), position++, item).run();
        if (!done) return std::unexpected(std::move(done.error()));
    }
    return ConfirmationReport{{request, action, who, timeToLive}, Status::pending, /*isNew=*/true, {}};
}

std::expected<std::vector<std::string>, ConfirmationError> Confirmations::answer(const UUID& id, Decision decision) {
    auto decided = inTransaction(database_, Transaction::Kind::writing, [&] { return decide(id, decision); });
    if (!decided) return std::unexpected(std::move(decided.error()));
    if (decision == Decision::confirmed && !decided->isPerformed) return removeModel(*decided);
    return std::move(decided->removed);
}

std::expected<Confirmations::Stored, ConfirmationError> Confirmations::decide(const UUID& id, Decision decision) {
    auto found = load("id = ?", id.text());
    if (!found) return std::unexpected(std::move(found.error()));
    if (found->empty()) return std::unexpected(ConfirmationError::NotFound{});
    Stored& stored = found->front();
    if (stored.confirmation.request.decision) return std::unexpected(ConfirmationError::AlreadyAnswered{});
    if (statusOf(stored.confirmation) != Status::pending) {
        return std::unexpected(ConfirmationError::Expired{});
    }
    Statement update{database_, "UPDATE confirmations SET decision = ? WHERE id = ?"};
    update.bind(decision == Decision::confirmed ? confirmedName : deniedName, id.text());
    if (auto done = update.run(); !done) return std::unexpected(std::move(done.error()));

    const auto* const removal = std::get_if<RemoveWords>(&stored.confirmation.action.is);
    if (decision == Decision::denied || removal == nullptr) return stored;

    Vocabulary vocabulary{database_};
    std::vector<std::optional<std::string>> removed;
    for (const std::string& word : removal->words) {
        auto spelling = vocabulary.remove({&word, 1});
        if (!spelling) return std::unexpected(std::move(spelling.error()));
        removed.emplace_back();
        if (spelling->empty()) continue;
        removed.back() = spelling->front();
        stored.removed.push_back(std::move(spelling->front()));
    }
    if (auto done = storeOutcome(id, removed); !done) return std::unexpected(std::move(done.error()));
    stored.isPerformed = true;
    return stored;
}

std::expected<std::vector<std::string>, ConfirmationError> Confirmations::removeModel(const Stored& confirmed) {
    auto lock = models_.lock();
    if (!lock) return std::unexpected(std::move(lock.error()));
    // Read again under the lock: another process may have finished the removal, told its client the outcome and deleted
    // the request.
    const UUID id = confirmed.confirmation.request.id;
    const auto found = load("id = ? AND decision = 'confirmed'", id.text());
    if (!found) return std::unexpected(found.error());
    if (found->empty()) return itemsOf(confirmed.confirmation.action);
    const Stored& stored = found->front();
    const auto* const removal = std::get_if<RemoveModel>(&stored.confirmation.action.is);
    if (stored.isPerformed || removal == nullptr) return stored.removed;

    const auto isRemoved = models_.takeAway(removal->identifier, id);
    if (!isRemoved) return std::unexpected(isRemoved.error());
    std::vector<std::string> removed;
    if (*isRemoved) removed.push_back(removal->identifier);
    auto done = inTransaction(database_, Transaction::Kind::writing, [&] {
        return storeOutcome(id, {*isRemoved ? std::optional{removal->identifier} : std::nullopt});
    });
    if (!done) return std::unexpected(std::move(done.error()));
    models_.deleteTaken(id);
    return removed;
}

std::expected<std::vector<OpenConfirmation>, ConfirmationError> Confirmations::open() {
    const auto undecided =
        inTransaction(database_, Transaction::Kind::reading, [&] { return load("decision IS NULL"); });
    if (!undecided) return std::unexpected(undecided.error());
    std::vector<OpenConfirmation> open;
    for (const Stored& stored : *undecided) {
        if (statusOf(stored.confirmation) == Status::pending) open.push_back(stored.confirmation);
    }
    return open;
}

std::expected<void, ConfirmationError> Confirmations::recover() {
    if (auto finished = finishInterrupted("TRUE"); !finished) return finished;
    if (auto done = models_.deleteLeftovers(); !done) return std::unexpected(std::move(done.error()));
    return {};
}

template <class... Values>
std::expected<void, ConfirmationError> Confirmations::finishInterrupted(const std::string& condition,
                                                                        const Values&... values) {
    const auto interrupted = load("decision = 'confirmed' AND NOT isPerformed AND " + condition, values...);
    if (!interrupted) return std::unexpected(interrupted.error());
    for (const Stored& stored : *interrupted) {
        auto removed = removeModel(stored);
        if (!removed) return std::unexpected(std::move(removed.error()));
    }
    return {};
}

Seconds Confirmations::age(const Request& request, std::chrono::milliseconds madeAt) const {
    const Seconds onWall = now_() - request.createdAt;
    const Seconds steady = steadyNow_().time_since_epoch() - madeAt;
    // The machine was restarted, so the age is not known. The request counts as expired.
    if (steady < Seconds{-1}) return std::max(onWall, Seconds{request.ttl});
    return std::max({onWall, steady, Seconds{0}});
}

template <class... Values>
std::expected<std::vector<Confirmations::Stored>, DatabaseError> Confirmations::load(const std::string& condition,
                                                                                     const Values&... values) {
    Statement select{database_, "SELECT id, createdAt, ttl, decision, isPerformed, tool, client, madeAt, toldAt FROM "
                                "confirmations WHERE " +
                                    condition + " ORDER BY createdAt, rowid"};
    auto found = select.bind(values...).all([this](const Statement& row) {
        const Request request{UUID::parse(row.text(0)).value_or(UUID{}), row.timestamp(1), row.seconds(2),
                              decisionNamed(row.optionalText(3))};
        const auto toldAt = row.isNull(8) ? std::nullopt : std::optional{row.timestamp(8)};
        OpenConfirmation confirmation{request, makeAction(row.text(5), {}), row.text(6),
                                      Seconds{request.ttl} - age(request, std::chrono::milliseconds{row.integer(7)})};
        return Stored{std::move(confirmation), row.boolean(4), toldAt, {}};
    });
    if (!found) return found;
    for (Stored& stored : *found) {
        if (auto done = loadItems(stored); !done) return std::unexpected(std::move(done.error()));
    }
    return found;
}

std::expected<void, DatabaseError> Confirmations::loadItems(Stored& stored) {
    struct Item {
        std::string item;
        std::optional<std::string> removed;
    };
    Statement select{database_, "SELECT item, removed FROM confirmationItems WHERE confirmation = ? ORDER BY position"};
    auto rows = select.bind(stored.confirmation.request.id.text()).all([](const Statement& row) {
        return Item{row.text(0), row.optionalText(1)};
    });
    if (!rows) return std::unexpected(std::move(rows.error()));
    std::vector<std::string> items;
    for (Item& row : *rows) {
        items.push_back(std::move(row.item));
        if (row.removed) stored.removed.push_back(*std::move(row.removed));
    }
    stored.confirmation.action = makeAction(toolOf(stored.confirmation.action), std::move(items));
    return {};
}

std::expected<void, DatabaseError> Confirmations::storeOutcome(const UUID& id,
                                                               const std::vector<std::optional<std::string>>& removed) {
    Statement update{database_, "UPDATE confirmations SET isPerformed = 1 WHERE id = ?"};
    if (auto done = update.bind(id.text()).run(); !done) return done;
    Statement updateItem{database_, "UPDATE confirmationItems SET removed = ? WHERE confirmation = ? AND position = ?"};
    std::int64_t position = 0;
    for (const auto& item : removed) {
        if (auto done = updateItem.bind(item, id.text(), position++).run(); !done) return done;
    }
    return {};
}

std::expected<void, DatabaseError> Confirmations::forgetOld() {
    // A confirmed action that was not performed must stay.
    Statement forget{database_, "DELETE FROM confirmations WHERE createdAt <= ? AND NOT (decision IS 'confirmed' AND "
                                "NOT isPerformed)"};
    return forget.bind(std::chrono::floor<Timestamp::duration>(now_() - outcomeLifetime)).run();
}

} // namespace vostel_companion
