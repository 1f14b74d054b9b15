// Giving memory back to the system.
//
// A speech model takes about 100 MB. The allocator of glibc would keep most of it after the model was freed: it raises
// its thresholds when large blocks are freed, and a thread's arena shrinks only from its end.
#pragma once

namespace vostel_companion {

/// Stops the allocator from raising its thresholds. Call it once, before there are threads.
void returnLargeBlocks();

/// Returns the free memory of all threads. Takes some milliseconds.
void releaseFreeMemory();

} // namespace vostel_companion
