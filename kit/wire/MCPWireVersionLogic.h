// The version of the wire protocol, and the rule that both sides must have the same one.
#pragma once

#include "kit/wire/MCPWireError.h"

#include <cstdint>
#include <expected>

namespace VostelMCPKit {

/// Every request and every cancellation carries it.
inline constexpr std::int64_t wireProtocolVersion = 4;

namespace MCPWireVersionLogic {

/// Write the names at the call: `validate({.requestVersion = received, .knownVersion = wireProtocolVersion})`.
struct Versions {
    /// What vostel-mcp sent.
    std::int64_t requestVersion;
    /// What the application has.
    std::int64_t knownVersion;
};

/// Fails with MCPWireError::VersionMismatch unless both are equal: there is no range of compatible versions.
/// Thread-safe. readInboundFrame applies this rule.
[[nodiscard]] std::expected<void, MCPWireError> validate(Versions versions);

} // namespace MCPWireVersionLogic

} // namespace VostelMCPKit
