#include "kit/jsonrpc/DecodingError.h"

#include "kit/support/match.h"

namespace VostelMCPKit {

std::string DecodingError::description() const {
    return match(
        is, [](const NotJSON& error) { return "it is not valid JSON at byte " + std::to_string(error.offset); },
        [](const KeyNotFound& error) { return "the key '" + error.key + "' is missing"; },
        [](const TypeMismatch& error) {
            const std::string what = error.key.empty() ? "it" : "the key '" + error.key + "'";
            return what + " is not " + error.expected;
        },
        [](const DataCorrupted& error) { return error.reason; });
}

} // namespace VostelMCPKit
