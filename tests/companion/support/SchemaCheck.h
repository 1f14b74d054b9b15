// Judging a tool's result by the schema that the tool announces.
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <string>

namespace vostel_tests {

/// Why `value` does not match `schema` (the keywords that the catalogue uses: type, properties, required, items,
/// additionalProperties, enum); empty when it does. A keyword it does not know is a mismatch.
[[nodiscard]] std::string mismatch(const VostelMCPKit::MCPValue& value, const VostelMCPKit::MCPValue& schema);

/// The output schema of the tool `name`.
[[nodiscard]] VostelMCPKit::MCPValue outputSchema(const std::string& name);

} // namespace vostel_tests
