// The text of an outbound frame's payload, read into the frame.
#pragma once

#include "kit/wire/MCPWireFrames.h"

#include <expected>
#include <string_view>

namespace VostelMCPKit {

/// What readJSON and decode make of `payload`, found faster: progress comes by the hundred thousand, in always the same
/// form, and is then read without building its document.
[[nodiscard]] std::expected<MCPWireOutboundFrame, DecodingError> readOutboundFrame(std::string_view payload);

} // namespace VostelMCPKit
