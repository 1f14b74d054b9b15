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

/// Owns its memory; moved, never copied. Not thread-safe. Calls outOfMemory when an allocation fails.
///
///     Bytes line;
///     if (writeJSON(value, line)) write(line.span());
class Bytes final {
public:
    Bytes() = default;
    /// A copy of `text`.
    explicit Bytes(std::string_view text) { append(text); }
    Bytes(Bytes&& other) noexcept { swap(other); }
    Bytes& operator=(Bytes&& other) noexcept {
        Bytes taken{std::move(other)};
        swap(taken);
        return *this;
    }
    ~Bytes() { std::free(memory_); }

    // Pointers and views into the content are valid until the content changes. A temporary object returns none.

    /// The first byte of the content; null when nothing was ever stored.
    [[nodiscard]] const char* data() const& { return memory_ + start_; }
    /// The same, to overwrite the content.
    [[nodiscard]] char* data() & { return memory_ + start_; }
    /// The content as text.
    [[nodiscard]] std::string_view text() const& { return {data(), size_}; }
    /// The content as bytes.
    [[nodiscard]] std::span<const std::byte> span() const& { return std::as_bytes(std::span{data(), size_}); }
    void data() const&& = delete;
    void text() const&& = delete;
    void span() const&& = delete;

    /// The length of the content in bytes.
    [[nodiscard]] std::size_t size() const { return size_; }
    /// Whether there is no content.
    [[nodiscard]] bool empty() const { return size_ == 0; }
    /// How long the content may become before the memory grows, in bytes.
    [[nodiscard]] std::size_t capacity() const { return capacity_; }

    /// Adds a copy of `text`, which must not point into this content.
    void append(std::string_view text) {
        if (text.empty()) return;
        std::memcpy(room(text.size()), text.data(), text.size());
        grow(text.size());
    }
    /// Adds one byte.
    void append(char byte) {
        *room(1) = byte;
        grow(1);
    }

    /// Inserts `text`, which must not point into this content, before it. The content does not move if removePrefix has
    /// dropped at least as many bytes.
    void prepend(std::string_view text);

    /// The first byte of at least `count` writable bytes after the content; valid until the next non-const call.
    [[nodiscard]] char* room(std::size_t count) & {
        if (capacity_ - start_ - size_ < count) makeRoom(count);
        return data() + size_;
    }
    /// Adds the first `count` bytes of the room to the content, after the caller has written them.
    void grow(std::size_t count) { size_ += count; }

    /// Drops the first `count` bytes of the content. The others do not move.
    void removePrefix(std::size_t count) {
        start_ += count;
        size_ -= count;
    }
    /// Drops everything after the first `size` bytes.
    void truncate(std::size_t size) { size_ = size; }

    bool operator==(const Bytes& other) const { return text() == other.text(); }

private:
    void makeRoom(std::size_t count);
    void swap(Bytes& other) noexcept {
        std::swap(memory_, other.memory_);
        std::swap(start_, other.start_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

    char* memory_ = nullptr;
    /// Where the content begins in the memory.
    std::size_t start_ = 0;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace VostelMCPKit
