// Writes whole messages, one after the other, through a write operation that may take only a part at a time.
#pragma once

#include "kit/concurrency/Actor.h"
#include "kit/support/Bytes.h"
#include "kit/support/PosixError.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <span>
#include <variant>

namespace VostelMCPKit {

/// A write operation reported that it wrote nothing.
enum class MCPStdioError { noProgress };

using MCPWriteError = std::variant<MCPStdioError, PosixError>;

/// The bytes are written as they are: the caller has appended the line feed.
class MCPStdoutWriter final : public Actor {
public:
    /// Writes some prefix of the bytes and returns its length, at least one. Called from any thread, one call at a
    /// time.
    using AttemptWrite = std::function<std::expected<std::int64_t, PosixError>(std::span<const std::byte>)>;

    MCPStdoutWriter(Executor& executor, AttemptWrite attemptWrite)
        : Actor{executor}, attemptWrite_{std::move(attemptWrite)} {}

    /// Returns when every byte is out, or with the first failure; no other send begins before that. What was written
    /// before a failure stays written.
    Task<std::expected<void, MCPWriteError>> send(Bytes data);

private:
    const AttemptWrite attemptWrite_;
};

} // namespace VostelMCPKit
