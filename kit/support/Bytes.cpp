#include "kit/support/Bytes.h"

#include "kit/support/outOfMemory.h"

#include <algorithm>

namespace VostelMCPKit {

void Bytes::reserve(std::size_t capacity) {
    if (capacity <= capacity_) return;
    // Growing by half keeps appending linear and wastes less of a large block than doubling does.
    std::size_t wanted = std::max({capacity, capacity_ + capacity_ / 2, std::size_t{64}});
    void* moved = std::realloc(data_, wanted);
    if (moved == nullptr) outOfMemory();
    data_ = static_cast<char*>(moved);
    capacity_ = wanted;
}

} // namespace VostelMCPKit
