// The one reader of JSON text (RFC 8259): stdin lines, socket frames, configuration files.
#pragma once

#include "kit/jsonrpc/DecodingError.h"
#include "kit/jsonrpc/MCPValue.h"

#include <expected>
#include <string_view>

namespace VostelMCPKit {

///     const auto value = readJSON(text);
///     if (!value) return fail(value.error().description());
///
/// Reads the one JSON value that `text` holds. White space may surround it. Values nest to any depth. Of repeated keys
/// in one object the last one wins. Fails on text that breaks the grammar or is not UTF-8, on half a surrogate pair,
/// and on a number beyond the range of double. Thread-safe; keeps no state between calls.
[[nodiscard]] std::expected<MCPValue, DecodingError> readJSON(std::string_view text);

} // namespace VostelMCPKit
