// Actions that are performed only after the user has confirmed them.
//
//     the client asks             -> a pending request, the same one for the same arguments
//     the user confirms           -> the action is performed, exactly once
//     the user denies, or no answer within five minutes -> the action is not performed
//     a client asks again         -> the outcome, as often as it asks, whichever client it is
//
// An outcome is repeated for five minutes after a client was first told, and at least until the request's own five
// minutes are over. It is forgotten earlier if what was removed exists again, because another removal is a new
// decision. After that, the same arguments make a new request. An expired request is reported once.
//
// Vocabulary rules are removed in the transaction that stores the confirmation. A model is outside the database, so its
// removal has two steps: the confirmation is stored; then the model is moved to a path named by the request, and that
// is stored. A crash in between leaves a confirmed request that was not performed. The next start or the client's next
// call finishes it. The path shows whether the model was moved.
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
#include <string_view>
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

    /// What would be done, as a clause without a full stop. It names everything, because the user confirms all of it.
    [[nodiscard]] std::string description() const;
    /// The same for the client, with only the first words of a long list.
    [[nodiscard]] std::string summary() const;

    bool operator==(const ConfirmableAction&) const = default;
};

/// A request that waits for the user.
struct OpenConfirmation {
    VostelMCPKit::MCPConfirmationLogic::Request request;
    /// Its words are in their normal form, each once.
    ConfirmableAction action;
    /// The client that asked first, as it introduced itself. Empty if it is not known.
    std::string client = {};
    /// The time until it expires. Negative afterwards.
    Seconds timeLeft{0};

    bool operator==(const OpenConfirmation&) const = default;
};

/// The answer to the client.
struct ConfirmationReport {
    OpenConfirmation confirmation;
    VostelMCPKit::MCPConfirmationLogic::Status status = VostelMCPKit::MCPConfirmationLogic::Status::unknown;
    /// This call made the request, so the user has to be notified.
    bool isNew = false;
    /// What was removed, when the status is confirmed: the words as they were spelled in the vocabulary, or the model.
    std::vector<std::string> removed;

    bool operator==(const ConfirmationReport&) const = default;
};

/// Uses the database on the caller's thread. Other processes may use the same database and models at the same time: for
/// example, a command that answers a request of the serving program.
class Confirmations final {
public:
    /// How long a request waits for its answer, and how long an outcome is repeated after it was first told.
    static constexpr std::chrono::seconds timeToLive{300};
    /// How long an outcome is kept for a client that has not been told. After that, the same arguments make a new
    /// request. An older outcome could be mistaken for a new one.
    static constexpr std::chrono::hours outcomeLifetime{24};

    using Clock = std::function<std::chrono::system_clock::time_point()>;
    /// The same clock in all processes. Nobody can set it, so a request cannot outlive its time.
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

    /// `database` and `models` outlive this object.
    Confirmations(Database& database, const ModelStore& models, Clock now, VostelMCPKit::UUIDSource newID,
                  SteadyClock steadyNow = std::chrono::steady_clock::now)
        : database_{database}, models_{models}, now_{std::move(now)}, newID_{std::move(newID)},
          steadyNow_{std::move(steadyNow)} {}

    /// A call of `client`: makes a request for `action`, or reports the one that exists. Two calls are the same request
    /// if they name the same set of words, ignoring letter case, or the same model.
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> ask(const ConfirmableAction& action,
                                                                           std::string_view client = {});

    /// The user's answer. When this returns, a confirmed action has been performed. Returns what was removed. If the
    /// action fails after the confirmation was stored, the next ask tries it again.
    [[nodiscard]] std::expected<std::vector<std::string>, ConfirmationError>
    answer(const VostelMCPKit::UUID& id, VostelMCPKit::MCPConfirmationLogic::Decision decision);

    /// The requests that wait for the user, oldest first.
    [[nodiscard]] std::expected<std::vector<OpenConfirmation>, ConfirmationError> open();

    /// For the start of the program. Performs what was confirmed but not performed before a crash. Deletes what crashed
    /// removals and installations left in the models' folder.
    [[nodiscard]] std::expected<void, ConfirmationError> recover();

private:
    struct Stored {
        OpenConfirmation confirmation;
        bool isPerformed = false;
        /// When a client was first told the outcome.
        std::optional<Timestamp> toldAt;
        std::vector<std::string> removed;
    };

    /// Within a transaction: reports the request, or makes one.
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> report(const ConfirmableAction& action,
                                                                              std::string_view client);
    [[nodiscard]] std::expected<ConfirmationReport, ConfirmationError> create(const ConfirmableAction& action,
                                                                              std::string_view client);
    /// Whether the outcome was repeated long enough or is no longer true.
    [[nodiscard]] std::expected<bool, ConfirmationError> isOver(const Stored& stored);
    /// Whether something that the action removes is there.
    [[nodiscard]] std::expected<bool, ConfirmationError> isThere(const ConfirmableAction& action);
    /// The status now. Of the two clocks, the one that shows the longer time counts.
    [[nodiscard]] static VostelMCPKit::MCPConfirmationLogic::Status statusOf(const OpenConfirmation& confirmation);
    /// How long ago the request was made.
    [[nodiscard]] Seconds age(const VostelMCPKit::MCPConfirmationLogic::Request& request,
                              std::chrono::milliseconds madeAt) const;
    [[nodiscard]] std::expected<void, DatabaseError> forget(const VostelMCPKit::UUID& id);
    /// Within a transaction: stores the answer. Performs the action if it affects only the database.
    [[nodiscard]] std::expected<Stored, ConfirmationError>
    decide(const VostelMCPKit::UUID& id, VostelMCPKit::MCPConfirmationLogic::Decision decision);
    /// Removes the model of a confirmed request unless that was done already. Returns what was removed.
    [[nodiscard]] std::expected<std::vector<std::string>, ConfirmationError> removeModel(const Stored& confirmed);
    /// Performs the confirmed, unperformed actions among the requests that `condition` selects.
    template <class... Values>
    [[nodiscard]] std::expected<void, ConfirmationError> finishInterrupted(const std::string& condition,
                                                                           const Values&... values);
    /// The stored requests that `condition` selects, oldest first. `values` are its parameters.
    template <class... Values>
    [[nodiscard]] std::expected<std::vector<Stored>, DatabaseError> load(const std::string& condition,
                                                                         const Values&... values);
    [[nodiscard]] std::expected<void, DatabaseError> loadItems(Stored& stored);
    /// Marks the action as performed. `removed` has an entry for each item of the request.
    [[nodiscard]] std::expected<void, DatabaseError>
    storeOutcome(const VostelMCPKit::UUID& id, const std::vector<std::optional<std::string>>& removed);
    [[nodiscard]] std::expected<void, DatabaseError> forgetOld();

    Database& database_;
    const ModelStore& models_;
    Clock now_;
    VostelMCPKit::UUIDSource newID_;
    SteadyClock steadyNow_;
};

} // namespace vostel_companion
