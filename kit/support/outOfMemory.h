// What happens when the system has no more memory.
//
// A peer decides how large its messages are, so an allocation for a message may fail through no fault of ours. Such
// work runs in a scope of MemoryMayRunOut, where only this work fails. All other allocations are small. If one of them
// fails, it gets memory that was kept in reserve. Without a reserve, it ends the process.
#pragma once

#include <new>

namespace VostelMCPKit {

/// While one of these lives on a thread, allocations that fail on that thread throw std::bad_alloc.
class MemoryMayRunOut final {
public:
    /// Begins the scope. Scopes nest.
    MemoryMayRunOut();
    MemoryMayRunOut(const MemoryMayRunOut&) = delete;
    MemoryMayRunOut& operator=(const MemoryMayRunOut&) = delete;
    ~MemoryMayRunOut();
};

/// Called when an allocation has failed. Throws std::bad_alloc in a scope of MemoryMayRunOut. Elsewhere it frees the
/// reserve and returns: try the allocation again. Without a reserve, it calls the function of onOutOfMemory and ends
/// the process.
void outOfMemory();

/// Makes every failed allocation, including those of `new`, call outOfMemory. That calls `beforeTheEnd` before it ends
/// the process. Call this once, at start. Also keeps the first reserve.
void onOutOfMemory(void (*beforeTheEnd)());

/// Keeps a new reserve if the last one is used up and there is enough memory. Call it when large messages were freed.
/// Thread-safe.
void keepMemoryInReserve();

/// Runs `work`, which may allocate as much as a peer asks for, and returns its result. When an allocation fails,
/// returns the result of `otherwise`. No other function catches an exception.
template <class Work, class Otherwise>
auto withinMemory(Work work, Otherwise otherwise) -> decltype(work()) {
    try {
        const MemoryMayRunOut scope;
        return work();
    } catch (const std::bad_alloc&) {
        return otherwise();
    }
}

} // namespace VostelMCPKit
