#include "kit/support/Bytes.h"

#include "kit/support/outOfMemory.h"

#include <algorithm>
#include <tuple>

namespace VostelMCPKit {

void Bytes::makeRoom(std::size_t count) {
    if (start_ > 0) {
        if (size_ > 0) std::memmove(memory_, data(), size_);
        start_ = 0;
        if (capacity_ - size_ >= count) return;
    }
    // The few bytes that end a message often follow a large part of it. They must not copy that part.
    constexpr std::size_t spare = 64;
    // Growing by half keeps appending linear and wastes less of a large block than doubling does.
    const std::size_t wanted = std::max(size_ + count + spare, capacity_ + capacity_ / 2);
    void* moved = nullptr;
    while ((moved = std::realloc(memory_, wanted)) == nullptr) outOfMemory();
    memory_ = static_cast<char*>(moved);
    capacity_ = wanted;
}

void Bytes::prepend(std::string_view text) {
    if (start_ < text.size()) {
        std::ignore = room(text.size());
        const std::size_t start = std::exchange(start_, text.size());
        if (size_ > 0) std::memmove(memory_ + start_, memory_ + start, size_);
    }
    start_ -= text.size();
    size_ += text.size();
    if (!text.empty()) std::memcpy(data(), text.data(), text.size());
}

} // namespace VostelMCPKit
