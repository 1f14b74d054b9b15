// Writes whole messages, one after the other, through a write operation that may take only a part at a time.
#pragma once

#include "kit/concurrency/Actor.h"
#include "kit/stdio/LineGate.h"
#include "kit/support/Bytes.h"
#include "kit/support/PosixError.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

/// Failures that the system does not report as such.
enum class MCPStdioError {
    /// The write operation reported that it wrote nothing.
    noProgress
};

/// Why a message was not written to its end.
using MCPWriteError = std::variant<MCPStdioError, PosixError>;

/// An actor: `send` may be called from any thread. The bytes are written as they are; the caller appends the line feed
/// (see appendLine). The writer must outlive its running operations.
class MCPStdoutWriter final : public Actor {
public:
    /// Writes some prefix of the bytes and returns its length, at least one. Called from any thread, one call at a
    /// time.
    using AttemptWrite = std::function<std::expected<std::int64_t, PosixError>(std::span<const std::byte>)>;
    /// Waits until the output takes bytes. Returns how many it takes without waiting, at least one. The writer has
    /// `wanted` bytes and uses no room beyond them.
    using WaitForRoom = std::function<std::size_t(std::size_t wanted)>;

    /// `executor` runs one continuation at a time and outlives the writer. Without `waitForRoom` the output takes any
    /// number of bytes. An empty `attemptWrite` writes nothing, so that every send of some bytes fails with noProgress.
    MCPStdoutWriter(Executor& executor, AttemptWrite attemptWrite, WaitForRoom waitForRoom = {})
        : Actor{executor}, attemptWrite_{std::move(attemptWrite)}, waitForRoom_{std::move(waitForRoom)} {}

    /// Returns when every byte is out, or with the first failure; no other send begins before that. What was written
    /// before a failure stays written.
    Task<std::expected<void, MCPWriteError>> send(Bytes data);

    /// The same for one or more lines that may be dropped: after `gate` is closed, no further line begins. A line that
    /// has begun is finished. Dropping lines is not a failure.
    Task<std::expected<void, MCPWriteError>> send(Bytes lines, std::shared_ptr<LineGate> gate);

private:
    using Written = std::expected<void, MCPWriteError>;

    /// Writes the rest of the line that has begun, and removes it from `rest`.
    [[nodiscard]] Written finishLine(std::string_view& rest) const;
    [[nodiscard]] Written writeAll(std::string_view bytes) const;
    [[nodiscard]] std::expected<std::size_t, MCPWriteError> writeSome(std::string_view bytes) const;

    const AttemptWrite attemptWrite_;
    const WaitForRoom waitForRoom_;
};

} // namespace VostelMCPKit
