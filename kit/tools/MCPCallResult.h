// The result of tools/call: what an AI client receives, whatever came of the call.
#pragma once

#include "kit/jsonrpc/Hashing.h"
#include "kit/jsonrpc/MCPValue.h"
#include "kit/tools/MCPToolOutcome.h"

#include <optional>
#include <string>
#include <vector>

namespace VostelMCPKit {

struct MCPContentBlock {
    /// Always "text" in what this program writes.
    std::string type = "text";
    std::string text;

    static void codingKeys(auto& self, auto& key) {
        key("type", self.type);
        key("text", self.text);
    }

    bool operator==(const MCPContentBlock&) const = default;
};

struct MCPCallResult {
    std::vector<MCPContentBlock> content;
    bool isError = false;
    std::optional<MCPValue> structuredContent;

    static void codingKeys(auto& self, auto& key) {
        key("content", self.content);
        key("isError", self.isError);
        key("structuredContent", self.structuredContent);
    }

    /// Renders `outcome` into exactly one block of text. Text of a tool that ran is fenced as untrusted; our own
    /// sentences are not.
    [[nodiscard]] static MCPCallResult rendering(const MCPToolOutcome& outcome);

    bool operator==(const MCPCallResult&) const = default;
};

} // namespace VostelMCPKit
