// Why a request for confirmation could not be made, answered or carried out.
#pragma once

#include "companion/models/ModelError.h"
#include "companion/store/DatabaseError.h"

#include <concepts>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace vostel_companion {

struct ConfirmationError {
    /// Not one of the words has usable text.
    struct NoWords {
        bool operator==(const NoWords&) const = default;
    };
    /// No open request has this id.
    struct NotFound {
        bool operator==(const NotFound&) const = default;
    };
    /// The user has answered already. The first answer counts.
    struct AlreadyAnswered {
        bool operator==(const AlreadyAnswered&) const = default;
    };
    /// The answer was too late. Nothing was done.
    struct Expired {
        bool operator==(const Expired&) const = default;
    };

    std::variant<NoWords, NotFound, AlreadyAnswered, Expired, DatabaseError, ModelError> is;

    template <class Case>
        requires(!std::same_as<std::remove_cvref_t<Case>, ConfirmationError>)
    ConfirmationError(Case&& error) : is(std::forward<Case>(error)) {}

    /// One full sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const ConfirmationError&) const = default;
};

} // namespace vostel_companion
