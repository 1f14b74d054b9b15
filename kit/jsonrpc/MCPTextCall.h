// A tool call whose arguments stay text, because the server passes them on unread.
#pragma once

#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/Bytes.h"

#include <optional>
#include <string_view>

namespace VostelMCPKit {

/// For arguments of many megabytes: their value can take twenty times the memory of their text.
struct MCPTextCall {
    /// As MCPDispatchLogic::classify reads it, but for `arguments` in its params, which are null.
    MCPRequest request;
    /// The JSON text of the arguments, as our writer writes it.
    Bytes arguments;
};

/// Reads a line. Absent when it is no tools/call, has no arguments, or is written in a way that is unusual: then ask
/// MCPDispatchLogic::classify, which also says what is wrong with it. Thread-safe; keeps no state.
[[nodiscard]] std::optional<MCPTextCall> readTextCall(std::string_view line);

} // namespace VostelMCPKit
