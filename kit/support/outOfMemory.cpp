#include "kit/support/outOfMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace VostelMCPKit {

namespace {

thread_local int scopes = 0;
void (*beforeTheEnd)() = nullptr;

/// Enough for the small allocations of many calls. The allocator does not return a freed block of this size to the
/// system, so only allocations that fit into it can use it.
constexpr std::size_t reserveSize = 131'072;
std::atomic<void*> reserve = nullptr;

} // namespace

MemoryMayRunOut::MemoryMayRunOut() { ++scopes; }
MemoryMayRunOut::~MemoryMayRunOut() { --scopes; }

void outOfMemory() {
    if (scopes > 0) throw std::bad_alloc{};
    if (void* kept = reserve.exchange(nullptr)) return std::free(kept);
    if (beforeTheEnd != nullptr) beforeTheEnd();
    std::abort();
}

void onOutOfMemory(void (*function)()) {
    beforeTheEnd = function;
    std::set_new_handler([] { outOfMemory(); });
    keepMemoryInReserve();
}

void keepMemoryInReserve() {
    if (reserve != nullptr) return;
    void* const kept = std::malloc(reserveSize);
    void* none = nullptr;
    if (!reserve.compare_exchange_strong(none, kept)) std::free(kept);
}

} // namespace VostelMCPKit
