// Whether the video-link tool is offered to AI clients at all.
#pragma once

namespace VostelMCPKit::MCPYouTubeAvailability {

/// Read once, at start, by whoever builds the tool list.
inline constexpr bool isAvailable = true;

} // namespace VostelMCPKit::MCPYouTubeAvailability
