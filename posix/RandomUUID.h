// Random bytes from the system, and new UUIDs made of them.
#pragma once

#include "kit/support/PosixError.h"
#include "kit/support/UUID.h"

#include <cstddef>
#include <expected>

namespace posix {

/// Fills `count` bytes, at most 256, from the system's random source and returns 0. On failure returns -1 and sets
/// errno. Reads /dev/urandom when a sandbox forbids the system call. Thread-safe. For VostelMCPKit::RandomUUIDs:
///
///     const UUIDSource newID = RandomUUIDs{posix::randomBytes};
[[nodiscard]] int randomBytes(void* bytes, std::size_t count);

/// A new UUID, or why there are no random bytes for it. Thread-safe.
[[nodiscard]] std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError> freshUUID();

} // namespace posix
