// Keeping results small enough for the clients.
#pragma once

#include "kit/tools/MCPToolOutcome.h"

#include <cstddef>
#include <functional>

namespace vostel_companion {

/// Clients drop a line of 10 MiB or more; some of it belongs to the message around the result.
inline constexpr std::size_t largestResult = (10 << 20) - (64 << 10);

/// The bytes of the result that the client is sent.
[[nodiscard]] std::size_t resultSize(const VostelMCPKit::MCPToolOutcome& outcome);

/// The outcome with as many of `count` items as a result holds; `build` makes the one with the first so many. When not
/// even the one without any is small enough, a failure.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
fittingOutcome(std::size_t count, const std::function<VostelMCPKit::MCPToolOutcome(std::size_t)>& build);

} // namespace vostel_companion
