// The one writer of JSON text: compact, members in key order, slashes unescaped, everything beyond ASCII as raw UTF-8.
#pragma once

#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/Bytes.h"

#include <expected>

namespace VostelMCPKit {

/// The value holds a number that is not finite, which has no JSON form.
struct EncodingError {
    bool operator==(const EncodingError&) const = default;
};

/// Appends the text of `value` to `out`; after a failure `out` is as it was before. The text is always valid UTF-8 and
/// holds no raw line break, which the line framing of standard output depends on. Thread-safe; keeps no state.
///
///     Bytes text;
///     if (!writeJSON(value, text)) return fail("The answer holds a number that is not finite.");
[[nodiscard]] std::expected<void, EncodingError> writeJSON(const MCPValue& value, Bytes& out);

/// The same value. An array or object also stores its text, so that writing it only copies that text. For a large value
/// that is written many times. Thread-safe.
[[nodiscard]] MCPValue withCachedText(const MCPValue& value);

} // namespace VostelMCPKit
