#include "companion/support/FreeMemory.h"

#include <cstdlib> // defines __GLIBC__
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace vostel_companion {

// Only glibc needs this. Other allocators return large blocks by themselves.

void returnLargeBlocks() {
#ifdef __GLIBC__
    // This is the default. Setting it stops glibc from adjusting any of its thresholds.
    ::mallopt(M_TRIM_THRESHOLD, 128 << 10);
#endif
}

void releaseFreeMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

} // namespace vostel_companion
