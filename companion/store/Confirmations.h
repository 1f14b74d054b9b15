// Actions that are not done before a person has confirmed them.
//
//     the client asks             -> a pending request, the same one for the same arguments
//     the person confirms         -> the action is performed, exactly once
//     the person denies, or no answer within five minutes -> it is not
//     the client asks again       -> what became of the request, once; then it is forgotten
//
// Vocabulary rules are removed in the transaction that stores the confirmation. A model lies outside the database, so
// its removal is a journal of two steps: the confirmation is stored; the model is moved to a place named for the
// request and that is stored. A crash in between leaves a confirmed request that is not performed, and whoever comes
// next (the next start, the client's next call) finishes it. The place tells whether the move had happened.
#pragma once

#include "companion/models/ModelStore.h"
#include "companion/store/ConfirmationError.h"
#include "companion/store/Database.h"
#include "kit/support/UUID.h"
#include "kit/tools/MCPConfirmationLogic.h"

#include <chrono>
#include <expected>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vostel_companion {

struct ConfirmableAction {
    struct RemoveWords {
        std::vector<std::string> words;
        bool operator==(const RemoveWords&) const = default;
    };
    struct RemoveModel {
        std::string identifier;
        bool operator==(const RemoveModel&) const = default;
    };

    std::variant<RemoveWords, RemoveModel> is;

    /// What would be done, as a clause without its full stop: for the person, who confirms all of it.
    [[nodiscard]] std::string description() const;
    /// The same for the client's answer, with the first of many words.
    [[nodiscard]] std::string summary() const;

    bool operator==(const ConfirmableAction&) const = default;
};

/// A request that waits for the person.
struct OpenConfirmation {
    VostelMCPKit::MCPConfirmationLogic::Request request;
    /// Its words are in their normal form, each once.
    ConfirmableAction action;

    bool operator==(const OpenConfirmation&) const = default;
};

/// What the client is told.
struct ConfirmationReport {
    OpenConfirmation confirmation;
    VostelMCPKit::MCPConfirmationLogic::Status status = VostelMCPKit::MCPConfirmationLogic::Status::unknown;
    /// This call made the request: the person has to be told.
    bool isNew = false;
    /// What was removed, when the status is confirmed: the words as they were spelled in the vocabulary, or the model.
    std::vector<std::string> removed;

    bool operator==(const ConfirmationReport&) const = default;
};

/// Uses the database on the caller's thread. Other processes may use the same database and models at the same time, as
/// when a person answers by command what the serving program asked for.
class Confirmations final {
public:
    /// How long a request waits for its answer.
    static constexpr std::chrono::seconds timeToLive{300};
    /// How long an outcome waits to be asked for. Later the same arguments are a new request: "it has been performed"
    /// would be misunderstood when it speaks of yesterday.
    static constexpr std::chrono::hours outcomeLifetime{24};

    using Clock = std::function<std::chrono::system_clock::time_point()>;

    /// All outlive this object.
    Confirmations(Database& database, const ModelStore& models, Clock now, VostelMCPKit::UUIDSource newID)
        : database_{database}, models_{models}, now_{std::move(now)}, newID_{std::move(newID)} {}

    /// The client's call. Two calls ask for the same when their words are the same set, letter case ignored, or their
    /// model is the same.
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> ask(const ConfirmableAction& action);

    /// The person's answer; a confirmed action has been performed when this returns. Returns what was removed. When the
    /// action failed after the confirmation was stored, the next ask tries it again.
    [[nodiscard]] std::expected<std::vector<std::string>, ConfirmationError>
    answer(const VostelMCPKit::UUID& id, VostelMCPKit::MCPConfirmationLogic::Decision decision);

    /// The requests that wait for the person, oldest first.
    [[nodiscard]] std::expected<std::vector<OpenConfirmation>, ConfirmationError> open();

    /// For the start of a program: performs what was confirmed but not performed before a crash, and deletes what dead
    /// removals and installations left in the models' folder.
    [[nodiscard]] std::expected<void, ConfirmationError> recover();

private:
    struct Stored {
        OpenConfirmation confirmation;
        bool isPerformed = false;
        std::vector<std::string> removed;
    };

    /// Within a transaction: the request's report, after which a settled one is forgotten.
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> report(const ConfirmableAction& action);
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> create(const ConfirmableAction& action);
    /// Within a transaction: stores the answer and, where that is all in the database, performs the action.
    [[nodiscard]] std::expected<Stored, ConfirmationError>
    decide(const VostelMCPKit::UUID& id, VostelMCPKit::MCPConfirmationLogic::Decision decision);
    /// Takes the model of a confirmed request away, unless that is done; returns what was removed.
    [[nodiscard]] std::expected<std::vector<std::string>, ConfirmationError> removeModel(const Stored& confirmed);
    /// Performs what was confirmed and not performed, among the requests that `condition` selects.
    template <class... Values>
    [[nodiscard]] std::expected<void, ConfirmationError> finishInterrupted(const std::string& condition,
                                                                           const Values&... values);
    /// The stored requests that `condition`, with `values` for its parameters, selects; oldest first.
    template <class... Values>
    [[nodiscard]] std::expected<std::vector<Stored>, DatabaseError> load(const std::string& condition,
                                                                         const Values&... values);
    [[nodiscard]] std::expected<void, DatabaseError> loadItems(Stored& stored);
    /// Marks the action as performed; `removed` has an entry for each of the request's items.
    [[nodiscard]] std::expected<void, DatabaseError>
    storeOutcome(const VostelMCPKit::UUID& id, const std::vector<std::optional<std::string>>& removed);
    [[nodiscard]] std::expected<void, DatabaseError> forgetOld();

    Database& database_;
    const ModelStore& models_;
    Clock now_;
    VostelMCPKit::UUIDSource newID_;
};

} // namespace vostel_companion
