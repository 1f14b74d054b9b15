// The one writer of JSON text: compact, members in key order, slashes unescaped, everything beyond ASCII as raw UTF-8.
#pragma once

#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/Bytes.h"

#include <expected>

namespace VostelMCPKit {

/// A number that is not finite has no JSON form.
struct EncodingError {
    bool operator==(const EncodingError&) const = default;
};

/// Appends the text of `value` to `out`; after a failure `out` is as it was before. The text holds no raw line break,
/// which the line framing of standard output depends on. Thread-safe; keeps no state between calls.
[[nodiscard]] std::expected<void, EncodingError> writeJSON(const MCPValue& value, Bytes& out);

/// The same value; an array or object keeps its text from here on, and writing it becomes a copy. For a large value
/// that is written again and again.
[[nodiscard]] MCPValue keepingText(const MCPValue& value);

} // namespace VostelMCPKit
