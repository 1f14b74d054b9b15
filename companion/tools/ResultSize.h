// Keeping results small enough for clients.
#pragma once

#include "kit/tools/MCPToolOutcome.h"

#include <cstddef>
#include <functional>

namespace vostel_companion {

/// Clients drop a line of 10 MiB or more. The 64 KiB are for the message around the result.
inline constexpr std::size_t largestResult = (10 << 20) - (64 << 10);

/// Some clients give the model only the structured record, and cut it: Codex at 12 KB for a model that it does not know
/// and at 48 KB for others, Claude Code at 50 KB. Its keys are sorted, so the times of the words come before the words
/// and take ten times their room. A record with times is therefore at most this long, and no client cuts it. A longer
/// record carries the words alone.
inline constexpr std::size_t longestRecordWithTimes = 10'000;

/// Whether `record` may carry the times of its words.
[[nodiscard]] bool hasRoomForTimes(const VostelMCPKit::MCPValue& record);

/// The size of the result that the client is sent, in bytes.
[[nodiscard]] std::size_t resultSize(const VostelMCPKit::MCPToolOutcome& outcome);

/// The outcome with as many of `count` items as fit into a result. `build` makes the outcome with the first items,
/// whose number it is given. Fails if even the outcome without items is too large.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
fittingOutcome(std::size_t count, const std::function<VostelMCPKit::MCPToolOutcome(std::size_t)>& build);

} // namespace vostel_companion
