// The history of live dictation.
#pragma once

#include "companion/store/Listing.h"
#include "kit/support/UUID.h"

#include <expected>
#include <optional>
#include <string>

namespace vostel_companion {

struct Dictation {
    enum class Outcome { delivered, notDelivered, pending };

    VostelMCPKit::UUID id;
    Timestamp date;
    /// As it was pasted: after the vocabulary rules.
    std::string text;
    Outcome outcome = Outcome::pending;
    /// Present only if the text was not delivered.
    std::optional<std::string> failureReason;
    std::optional<std::string> targetApplication;
    /// How long the user spoke.
    std::optional<Seconds> duration;

    bool operator==(const Dictation&) const = default;
};

/// The tools' word for `outcome`.
[[nodiscard]] const char* name(Dictation::Outcome outcome);

/// Uses the database on the caller's thread.
class Dictations final {
public:
    explicit Dictations(Database& database) : database_{database} {}

    [[nodiscard]] std::expected<void, DatabaseError> add(const Dictation& dictation);
    /// Ends a pending dictation: delivered without a reason, not delivered with one. False if it is not pending.
    [[nodiscard]] std::expected<bool, DatabaseError> finish(const VostelMCPKit::UUID& id,
                                                            const std::optional<std::string>& failureReason);
    [[nodiscard]] std::expected<Page<Dictation>, DatabaseError> list(const Listing& listing);
    [[nodiscard]] std::expected<std::optional<Dictation>, DatabaseError> find(const VostelMCPKit::UUID& id);
    [[nodiscard]] std::expected<void, DatabaseError> remove(const VostelMCPKit::UUID& id);

private:
    Database& database_;
};

} // namespace vostel_companion
