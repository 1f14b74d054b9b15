// A message as one line of the stdio transport.
#pragma once

#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/jsonrpc/MCPRequestID.h"

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

/// The line that answers the request `id`. `result` is JSON text as our writer writes it; it becomes the line and is
/// not copied if enough of a prefix was dropped from it (see Bytes::prepend). Equals appendLine of MCPResponse::result.
[[nodiscard]] Bytes resultLine(const MCPRequestID& id, Bytes result);

} // namespace VostelMCPKit
