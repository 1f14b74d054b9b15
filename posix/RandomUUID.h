// Random bytes of the system, and fresh UUIDs made of them.
#pragma once

#include "kit/support/PosixError.h"
#include "kit/support/UUID.h"

#include <cstddef>
#include <expected>

namespace posix {

/// Fills `count` bytes, at most 256, from the system's random source and returns 0; -1 and errno when it cannot. A
/// sandbox may forbid the system call for it; then it reads /dev/urandom. Thread-safe. For VostelMCPKit::RandomUUIDs:
///
///     const UUIDSource newID = RandomUUIDs{posix::randomBytes};
[[nodiscard]] int randomBytes(void* bytes, std::size_t count);

/// A fresh UUID, or why there are no random bytes for it. Thread-safe.
[[nodiscard]] std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError> freshUUID();

} // namespace posix
