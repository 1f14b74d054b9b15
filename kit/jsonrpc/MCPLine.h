// A message as one line of the stdio transport.
#pragma once

#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <expected>

namespace VostelMCPKit {

/// Appends the JSON text of `message` (a record or an MCPValue) and a line feed to `out`; nothing when the message
/// holds a number that is not finite. Thread-safe.
template <class Message>
[[nodiscard]] std::expected<void, EncodingError> appendLine(const Message& message, Bytes& out) {
    if (auto written = writeJSON(message, out); !written) return written;
    out.append('\n');
    return {};
}

} // namespace VostelMCPKit
