// One tool as the AI client sees it in the answer to tools/list. Values: copies are independent.
#pragma once

#include "kit/jsonrpc/Hashing.h"
#include "kit/tools/MCPSchema.h"

#include <optional>
#include <string>

namespace VostelMCPKit {

/// The behaviour hints of MCP. Deliberate: by default a tool counts as destructive and open, as MCP says.
struct MCPToolAnnotations {
    /// The tool changes nothing.
    bool readOnlyHint = false;
    /// The tool may delete or overwrite the user's data.
    bool destructiveHint = true;
    /// Repeating a call with the same arguments has no further effect.
    bool idempotentHint = false;
    /// The tool reaches outside the machine.
    bool openWorldHint = true;

    static void codingKeys(auto& self, auto& key) {
        key("readOnlyHint", self.readOnlyHint);
        key("destructiveHint", self.destructiveHint);
        key("idempotentHint", self.idempotentHint);
        key("openWorldHint", self.openWorldHint);
    }

    bool operator==(const MCPToolAnnotations&) const = default;
};

/// A plain value, hashable.
struct MCPTool {
    /// The name that tools/call uses.
    std::string name;
    /// The text that the model reads.
    std::string description;
    /// Of the arguments.
    MCPSchema inputSchema;
    /// Of the structured result. Absent when the tool returns text only.
    std::optional<MCPSchema> outputSchema;
    /// Hints for the client's own decisions. Nothing enforces them.
    MCPToolAnnotations annotations;
    /// A call is carried out only after the user confirms it in the application.
    bool requiresUserInteraction = false;

    static void codingKeys(auto& self, auto& key) {
        key("name", self.name);
        key("description", self.description);
        key("inputSchema", self.inputSchema);
        key("outputSchema", self.outputSchema);
        key.absentAsDefault("annotations", self.annotations);
        key.nested("_meta", "anthropic/requiresUserInteraction", self.requiresUserInteraction);
    }

    bool operator==(const MCPTool&) const = default;
};

} // namespace VostelMCPKit
