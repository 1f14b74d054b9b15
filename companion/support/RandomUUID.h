// Fresh identities.
#pragma once

#include "kit/support/UUID.h"

namespace vostel_companion {

/// From the system's random source. Thread-safe.
[[nodiscard]] VostelMCPKit::UUID randomUUID();

} // namespace vostel_companion
