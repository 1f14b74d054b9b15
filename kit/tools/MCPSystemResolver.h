// The system's own name resolution, for those who evaluate links for real.
#pragma once

#include <string>
#include <vector>

namespace VostelMCPKit {

/// Every address of `host` as a numeric string, in the system's order; none when it does not resolve. Blocks for as
/// long as the system looks.
[[nodiscard]] std::vector<std::string> resolveBySystem(const std::string& host);

} // namespace VostelMCPKit
