#include "kit/jsonrpc/DecodingError.h"

#include "kit/support/match.h"

namespace VostelMCPKit {

DecodingError DecodingError::within(std::string_view key) && {
    const bool needsPoint = !path.empty() && !path.starts_with('[');
    path = std::string{key} + (needsPoint ? "." : "") + path;
    return std::move(*this);
}

DecodingError DecodingError::withinElement(std::size_t index) && {
    return std::move(*this).within("[" + std::to_string(index) + "]");
}

std::string DecodingError::description() const {
    const std::string what = path.empty() ? "it" : path;
    return match(
        is, [](const NotJSON& error) { return "it is not valid JSON at byte " + std::to_string(error.offset); },
        [&](const KeyNotFound&) { return what + " is missing"; },
        [&](const TypeMismatch& error) { return what + " is not " + error.expected; },
        [&](const UnknownValue&) { return what + " holds an unknown value"; },
        [](const DataCorrupted& error) { return error.reason; });
}

} // namespace VostelMCPKit
