#include "kit/wire/MCPWireVersionLogic.h"

namespace VostelMCPKit {

std::expected<void, MCPWireError> MCPWireVersionLogic::validate(Versions versions) {
    if (versions.requestVersion == versions.knownVersion) return {};
    return std::unexpected(
        MCPWireError{MCPWireError::VersionMismatch{.helper = versions.requestVersion, .app = versions.knownVersion}});
}

} // namespace VostelMCPKit
