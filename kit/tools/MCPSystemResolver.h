// The system's own name resolution. It is the only I/O of the kit, and happens only when this function is called.
#pragma once

#include <string>
#include <vector>

namespace VostelMCPKit {

/// All addresses of `host` as numeric strings, in the system's order; empty when the host does not resolve. Blocks as
/// long as the system searches, which may be many seconds. Thread-safe.
[[nodiscard]] std::vector<std::string> resolveBySystem(const std::string& host);

} // namespace VostelMCPKit
