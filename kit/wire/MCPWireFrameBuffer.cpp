#include "kit/wire/MCPWireFrameBuffer.h"

#include "kit/wire/MCPWireFraming.h"

namespace VostelMCPKit {

std::expected<std::optional<std::string_view>, MCPWireError> MCPWireFrameBuffer::next() & {
    const auto frame = MCPWireFraming::extractFrame(received_.text());
    if (!frame) return std::unexpected(frame.error());
    const auto& whole = *frame;
    if (!whole) return std::nullopt;
    // Dropping a prefix moves nothing, so the payload stays where it is.
    received_.removePrefix(received_.size() - whole->remainder.size());
    return whole->payload;
}

} // namespace VostelMCPKit
