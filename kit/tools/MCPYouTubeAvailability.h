// Whether the video-link tool is offered to AI clients at all.
#pragma once

namespace VostelMCPKit::MCPYouTubeAvailability {

/// The server reads it once, at start, and passes it to MCPToolCatalogue.
inline constexpr bool isAvailable = true;

} // namespace VostelMCPKit::MCPYouTubeAvailability
