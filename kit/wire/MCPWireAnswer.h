// What the application writes back to vostel-mcp at the end of a call. Thread-safe; no state is kept.
#pragma once

#include "kit/support/Bytes.h"
#include "kit/tools/MCPToolOutcome.h"
#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFrames.h"

#include <optional>
#include <string>
#include <type_traits>
#include <variant>

namespace VostelMCPKit::MCPWireAnswer {

/// The frame with `response`. A result cannot be sent if it is longer than a reader accepts, or if it holds a number
/// that is not finite. A tool failure that says so replaces it.
[[nodiscard]] Bytes encode(const MCPWireResponse& response);

/// The frame with the outcome of the call `requestID`, as MCPCallResult renders it.
[[nodiscard]] Bytes encode(std::string requestID, const MCPToolOutcome& outcome);

/// Serves a connection in an application that runs one call at a time and reports no progress. Reads the first frame,
/// calls `run` with the request, and returns the bytes to write before closing the connection. They are empty when
/// there is nothing to answer: the frame cannot be read, or it cancels a call, which has ended by then. Absent when
/// more bytes are needed.
template <class Run>
    requires std::is_invocable_r_v<MCPToolOutcome, Run, const MCPWireRequest&>
[[nodiscard]] std::optional<Bytes> serve(MCPWireFrameBuffer& received, const Run& run) {
    const auto payload = received.next();
    if (!payload) return encode(MCPWireResponse{{}, payload.error()});
    const auto& whole = *payload;
    if (!whole) return std::nullopt;
    const auto frame = readInboundFrame(*whole);
    if (!frame) {
        const auto* refusal = std::get_if<MCPWireResponse>(&frame.error().is);
        return refusal != nullptr ? encode(*refusal) : Bytes{};
    }
    const auto* request = std::get_if<MCPWireRequest>(&frame->is);
    return request != nullptr ? encode(request->requestID, run(*request)) : Bytes{};
}

} // namespace VostelMCPKit::MCPWireAnswer
