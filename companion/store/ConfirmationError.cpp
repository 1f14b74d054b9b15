#include "companion/store/ConfirmationError.h"

#include "kit/support/match.h"

namespace vostel_companion {

std::string ConfirmationError::description() const {
    return VostelMCPKit::match(
        is,
        [](const NoWords&) { return std::string{"None of the words has usable text, so there is nothing to remove."}; },
        [](const NotFound&) { return std::string{"No request with this id is waiting for an answer."}; },
        [](const AlreadyAnswered&) { return std::string{"This request has been answered already."}; },
        [](const Expired&) { return std::string{"This request has expired, so nothing was done."}; },
        [](const DatabaseError& error) { return error.description(); },
        [](const ModelError& error) { return error.description(); });
}

} // namespace vostel_companion
