// Fresh UUIDs.
#pragma once

#include "kit/support/PosixError.h"
#include "kit/support/UUID.h"

#include <expected>

namespace posix {

/// A fresh UUID from the system's random source. A sandbox may forbid the system call for it; then /dev/urandom serves.
/// Fails when there is neither. Thread-safe.
[[nodiscard]] std::expected<VostelMCPKit::UUID, VostelMCPKit::PosixError> freshUUID();

/// The same for programs that cannot work without: ends the process where freshUUID fails.
[[nodiscard]] VostelMCPKit::UUID randomUUID();

} // namespace posix
