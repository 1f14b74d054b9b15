// A growable run of bytes for texts and frames of many megabytes.
//
// Unlike std::vector or std::string it grows through realloc, which moves large blocks by remapping their pages instead
// of copying them, and it never fills memory that is about to be overwritten.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

namespace VostelMCPKit {

/// Owns its memory; moved, never copied. Not thread-safe. Memory that runs out is the business of outOfMemory.
///
///     Bytes line;
///     if (writeJSON(value, line)) write(line.span());
class Bytes final {
public:
    Bytes() = default;
    explicit Bytes(std::string_view text) { append(text); }
    Bytes(Bytes&& other) noexcept { swap(other); }
    Bytes& operator=(Bytes&& other) noexcept {
        Bytes taken{std::move(other)};
        swap(taken);
        return *this;
    }
    ~Bytes() { std::free(data_); }

    [[nodiscard]] const char* data() const { return data_; }
    [[nodiscard]] char* data() { return data_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }
    [[nodiscard]] std::string_view text() const { return {data_, size_}; }
    [[nodiscard]] std::span<const std::byte> span() const { return std::as_bytes(std::span{data_, size_}); }

    void append(std::string_view text) {
        if (text.empty()) return;
        std::memcpy(room(text.size()), text.data(), text.size());
        grow(text.size());
    }
    void append(char byte) {
        *room(1) = byte;
        grow(1);
    }

    /// The first byte of at least `count` writable bytes behind the content; valid until the next non-const call.
    [[nodiscard]] char* room(std::size_t count) {
        if (capacity_ - size_ < count) reserve(size_ + count);
        return data_ + size_;
    }
    /// Takes the first `count` bytes of the room, which the caller has written, into the content.
    void grow(std::size_t count) { size_ += count; }

    /// Drops the first `count` bytes of the content.
    void removePrefix(std::size_t count) {
        size_ -= count;
        if (count > 0 && size_ > 0) std::memmove(data_, data_ + count, size_);
    }
    /// Drops everything behind the first `size` bytes.
    void truncate(std::size_t size) { size_ = size; }

    bool operator==(const Bytes& other) const { return text() == other.text(); }

private:
    void reserve(std::size_t capacity);
    void swap(Bytes& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    char* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace VostelMCPKit
