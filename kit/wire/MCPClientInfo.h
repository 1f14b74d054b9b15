// The AI client that started vostel-mcp, as it introduced itself in initialize.
#pragma once

#include "kit/jsonrpc/Hashing.h"

#include <optional>
#include <string>

namespace VostelMCPKit {

struct MCPClientInfo {
    std::string name;
    std::optional<std::string> version;

    static void codingKeys(auto& self, auto& key) {
        key("name", self.name);
        key("version", self.version);
    }

    bool operator==(const MCPClientInfo&) const = default;
};

} // namespace VostelMCPKit
