// Fresh identities.
#pragma once

#include "kit/support/UUID.h"

namespace posix {

/// From the system's random source. Thread-safe.
[[nodiscard]] VostelMCPKit::UUID randomUUID();

} // namespace posix
