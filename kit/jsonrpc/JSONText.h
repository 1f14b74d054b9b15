// What the reader and the writer of JSON strings share.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace VostelMCPKit {

/// Whether a byte cannot stand for itself inside a JSON string (RFC 8259, section 7).
[[nodiscard]] inline bool needsEscape(char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == '"' || byte == '\\';
}

/// The offset of the first byte of `text` that needs an escape; its size when none does. Eight bytes at a step.
[[nodiscard]] inline std::size_t plainPrefix(std::string_view text) {
    static_assert(std::endian::native == std::endian::little, "the lowest byte of a word must be the first one");
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highBits = 0x8080808080808080U;
    const auto zeroBytes = [](std::uint64_t word) { return (word - ones) & ~word; };

    std::size_t offset = 0;
    for (std::uint64_t word; text.size() - offset >= sizeof word; offset += sizeof word) {
        std::memcpy(&word, text.data() + offset, sizeof word);
        const std::uint64_t controls = (word - ones * 0x20) & ~word;
        const std::uint64_t found =
            (controls | zeroBytes(word ^ (ones * '"')) | zeroBytes(word ^ (ones * '\\'))) & highBits;
        if (found != 0) return offset + static_cast<std::size_t>(std::countr_zero(found)) / 8;
    }
    while (offset < text.size() && !needsEscape(text[offset])) ++offset;
    return offset;
}

} // namespace VostelMCPKit
