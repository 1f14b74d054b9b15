#include "kit/support/outOfMemory.h"

#include <cstdlib>

namespace VostelMCPKit {

namespace {

thread_local int scopes = 0;
void (*beforeTheEnd)() = nullptr;

} // namespace

MemoryMayRunOut::MemoryMayRunOut() { ++scopes; }
MemoryMayRunOut::~MemoryMayRunOut() { --scopes; }

void outOfMemory() {
    if (scopes > 0) throw std::bad_alloc{};
    if (beforeTheEnd != nullptr) beforeTheEnd();
    std::abort();
}

void onOutOfMemory(void (*function)()) {
    beforeTheEnd = function;
    std::set_new_handler([] { outOfMemory(); });
}

} // namespace VostelMCPKit
