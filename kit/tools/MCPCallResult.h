// The result of tools/call, which the AI client receives.
//
//     const MCPValue result = encode(MCPCallResult::rendering(MCPToolOutcome::text("2 rules")));
#pragma once

#include "kit/jsonrpc/Hashing.h"
#include "kit/jsonrpc/MCPValue.h"
#include "kit/tools/MCPToolOutcome.h"

#include <optional>
#include <string>
#include <vector>

namespace VostelMCPKit {

/// One part of the result. The model reads all parts.
struct MCPContentBlock {
    /// Always "text" in what rendering() returns.
    std::string type = "text";
    /// What the model reads.
    std::string text;

    static void codingKeys(auto& self, auto& key) {
        key("type", self.type);
        key("text", self.text);
    }

    bool operator==(const MCPContentBlock&) const = default;
};

/// A plain value, hashable.
struct MCPCallResult {
    /// In the order in which the model reads it.
    std::vector<MCPContentBlock> content;
    /// Tells the model that the tool did not do what it was asked to do.
    bool isError = false;
    /// The result as the tool's output schema describes it; left out of the JSON when absent.
    std::optional<MCPValue> structuredContent;

    static void codingKeys(auto& self, auto& key) {
        key("content", self.content);
        key("isError", self.isError);
        key("structuredContent", self.structuredContent);
    }

    /// Renders `outcome` into exactly one block of text. The text of a tool that ran is fenced as untrusted; our own
    /// sentences are not. Everything but a tool that ran is an error to the model. Thread-safe.
    [[nodiscard]] static MCPCallResult rendering(const MCPToolOutcome& outcome);

    bool operator==(const MCPCallResult&) const = default;
};

} // namespace VostelMCPKit
