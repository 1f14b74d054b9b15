#include "kit/wire/MCPWireError.h"

namespace VostelMCPKit {

std::string MCPWireError::description() const {
    return match(
        is,
        [](const VersionMismatch& error) {
            return "Vostel MCP wire protocol mismatch (helper v" + std::to_string(error.helper) + ", app v" +
                   std::to_string(error.app) +
                   "). Restart the Vostel MCP server — quit and relaunch your AI client so it spawns vostel-mcp again.";
        },
        [](const FrameTooLarge& error) {
            return "Vostel MCP frame of " + std::to_string(error.declared) + " bytes exceeds the " +
                   std::to_string(error.limit) + "-byte limit and was rejected.";
        });
}

} // namespace VostelMCPKit
