// The version of the wire protocol and the rule that both sides speak the same one.
#pragma once

#include "kit/wire/MCPWireError.h"

#include <cstdint>
#include <expected>

namespace VostelMCPKit {

inline constexpr std::int64_t wireProtocolVersion = 4;

namespace MCPWireVersionLogic {

/// Fails with the version mismatch unless both are equal; there is no range of compatible versions.
[[nodiscard]] std::expected<void, MCPWireError> validate(std::int64_t requestVersion, std::int64_t knownVersion);

} // namespace MCPWireVersionLogic

} // namespace VostelMCPKit
