// Checks the result of a tool against its announced schema.
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <string>

namespace vostel_tests {

/// Why `value` does not match `schema`; empty if it does. Knows the keywords of the catalogue: type, properties,
/// required, items, additionalProperties, enum. An unknown keyword is a mismatch.
[[nodiscard]] std::string mismatch(const VostelMCPKit::MCPValue& value, const VostelMCPKit::MCPValue& schema);

/// The output schema of the tool `name`.
[[nodiscard]] VostelMCPKit::MCPValue outputSchema(const std::string& name);

} // namespace vostel_tests
