// Keeping results small enough for clients.
#pragma once

#include "kit/tools/MCPToolOutcome.h"

#include <cstddef>
#include <functional>

namespace vostel_companion {

/// Clients drop a line of 10 MiB or more. The 64 KiB are for the message around the result.
inline constexpr std::size_t largestResult = (10 << 20) - (64 << 10);

/// The longest record that contains the times of its words, in bytes. A longer record contains only the words.
///
/// Some clients give the model only the structured record, and cut it: Codex at 12 KB for a model that it does not know
/// and at 48 KB for others, Claude Code at 50 KB. The keys of a record are sorted, so the times come before the words.
/// They take ten times as much room. So a cut record would contain times and no words. No client cuts a record of this
/// length.
inline constexpr std::size_t longestRecordWithTimes = 10'000;

/// Whether `record`, with the times of its words, is short enough.
[[nodiscard]] bool hasRoomForTimes(const VostelMCPKit::MCPValue& record);

/// The size of the result that the client is sent, in bytes.
[[nodiscard]] std::size_t resultSize(const VostelMCPKit::MCPToolOutcome& outcome);

/// The outcome with as many of `count` items as fit into a result. `build` makes the outcome with the given number of
/// first items. Fails if even the outcome without items is too large.
[[nodiscard]] VostelMCPKit::MCPToolOutcome
fittingOutcome(std::size_t count, const std::function<VostelMCPKit::MCPToolOutcome(std::size_t)>& build);

} // namespace vostel_companion
