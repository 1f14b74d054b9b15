// What the application writes back to vostel-mcp at the end of a call. Thread-safe; no state is kept.
#pragma once

#include "kit/support/Bytes.h"
#include "kit/tools/MCPToolOutcome.h"
#include "kit/wire/MCPWireFrameBuffer.h"
#include "kit/wire/MCPWireFrameText.h"
#include "kit/wire/MCPWireFrames.h"

#include <cstddef>
#include <string>
#include <type_traits>
#include <variant>

namespace VostelMCPKit::MCPWireAnswer {

/// The frame with `response`. A result cannot be sent if it is longer than a reader accepts, or if it holds a number
/// that is not finite. A tool failure that says so replaces it.
[[nodiscard]] Bytes encode(const MCPWireResponse& response);

/// The frame with the outcome of the call `requestID`, as MCPCallResult renders it.
[[nodiscard]] Bytes encode(std::string requestID, const MCPToolOutcome& outcome);

/// Serves one connection in an application that runs one call at a time and reports no progress. Receives the first
/// frame, calls `run` with the request, and returns the bytes to write before closing the connection. They are empty
/// when there is nothing to answer: the connection ended before its frame, the frame cannot be read, or it cancels a
/// call, which has ended by then.
///
/// `receive` waits for bytes, writes at most `size` of them to `room` and returns how many; zero or less at the end of
/// the connection and after a failure. read() of POSIX does so.
template <class Receive, class Run>
    requires std::is_invocable_r_v<std::ptrdiff_t, Receive&, char*, std::size_t> &&
             std::is_invocable_r_v<MCPToolOutcome, Run&, const MCPWireRequest&>
[[nodiscard]] Bytes serve(Receive&& receive, Run&& run) {
    constexpr std::size_t size = 65'536;
    MCPWireFrameBuffer received;
    for (;;) {
        const std::ptrdiff_t count = receive(received.room(size), size);
        if (count <= 0) return {};
        received.grow(static_cast<std::size_t>(count));

        const auto payload = received.next();
        if (!payload) return encode(MCPWireResponse{{}, payload.error()});
        const auto& whole = *payload;
        if (!whole) continue;
        const auto frame = readInboundFrame(*whole);
        if (!frame) {
            const auto* refusal = std::get_if<MCPWireResponse>(&frame.error().is);
            return refusal != nullptr ? encode(*refusal) : Bytes{};
        }
        const auto* request = std::get_if<MCPWireRequest>(&frame->is);
        return request != nullptr ? encode(request->requestID, run(*request)) : Bytes{};
    }
}

} // namespace VostelMCPKit::MCPWireAnswer
