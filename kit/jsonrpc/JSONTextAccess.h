// Operations on a value that only the reader and the writer of JSON text may call. They do not check their arguments.
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <optional>
#include <span>
#include <string_view>

namespace VostelMCPKit {

/// The friend of MCPValue. Not for applications: nothing checks that text and value agree.
struct JSONTextAccess {
    /// A string whose UTF-8 the reader has checked.
    [[nodiscard]] static MCPValue string(std::string_view valid);
    /// An array of elements that come from text, moved out of `elements`. Pass false for `mayChange` only if
    /// changesWhenWritten is false for each of them.
    [[nodiscard]] static MCPValue array(std::span<MCPValue> elements, bool mayChange);
    /// An object of alternating keys (strings) and values that come from text, moved out of `keysAndValues`. Of equal
    /// keys the last one wins.
    [[nodiscard]] static MCPValue object(std::span<MCPValue> keysAndValues, bool mayChange);

    /// Whether reading the written text of `value` may give another value: a double without a fraction reads back as an
    /// integer. Takes constant time.
    [[nodiscard]] static bool changesWhenWritten(const MCPValue& value);

    /// An array or object equal to `value` that carries `text`, its written form; any other value as it is.
    [[nodiscard]] static MCPValue withCachedText(const MCPValue& value, std::string_view text);
    /// Lives as long as `value`.
    [[nodiscard]] static std::optional<std::string_view> cachedText(const MCPValue& value);
    static void cachedText(MCPValue&&) = delete;
};

} // namespace VostelMCPKit
