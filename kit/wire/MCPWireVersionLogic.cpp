#include "kit/wire/MCPWireVersionLogic.h"

namespace VostelMCPKit {

std::expected<void, MCPWireError> MCPWireVersionLogic::validate(std::int64_t requestVersion,
                                                                std::int64_t knownVersion) {
    if (requestVersion == knownVersion) return {};
    return std::unexpected(MCPWireError{MCPWireError::VersionMismatch{requestVersion, knownVersion}});
}

} // namespace VostelMCPKit
