// The AI client that started vostel-mcp, as it introduced itself in initialize.
#pragma once

#include "kit/jsonrpc/Hashing.h"

#include <optional>
#include <string>

namespace VostelMCPKit {

/// A value. All text is UTF-8, as the client sent it.
struct MCPClientInfo {
    /// For programs and logs; not meant for users.
    std::string name;
    /// Absent when the client did not send one.
    std::optional<std::string> version;

    static void codingKeys(auto& self, auto& key) {
        key("name", self.name);
        key("version", self.version);
    }

    bool operator==(const MCPClientInfo&) const = default;
};

} // namespace VostelMCPKit
