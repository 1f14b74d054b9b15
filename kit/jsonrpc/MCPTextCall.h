// A tool call whose arguments stay text, because the server forwards them without reading them.
#pragma once

#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/Bytes.h"

#include <optional>
#include <string_view>

namespace VostelMCPKit {

/// Saves memory for arguments of many megabytes: an MCPValue can take twenty times the memory of its text.
struct MCPTextCall {
    /// As MCPDispatchLogic::classify reads it, except that `arguments` in its params is null.
    MCPRequest request;
    /// The JSON text of the arguments, as our writer writes it.
    Bytes arguments;
};

/// Reads a line. Absent when it is not a tools/call, has no arguments, or has an unusual form. Then call
/// MCPDispatchLogic::classify, which also finds any error in the line. Thread-safe; keeps no state.
[[nodiscard]] std::optional<MCPTextCall> readTextCall(std::string_view line);

} // namespace VostelMCPKit
