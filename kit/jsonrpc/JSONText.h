// What the reader and the writer of JSON strings share.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace VostelMCPKit {

/// The bytes at the front of a text that stand for themselves inside a JSON string.
struct PlainRun {
    std::size_t length;
    bool isASCII;
};

namespace json_text_detail {

static_assert(std::endian::native == std::endian::little, "the lowest byte of a word must be the first one");
inline constexpr std::size_t wordSize = sizeof(std::uint64_t);
inline constexpr std::uint64_t eachByte = 0x0101010101010101U;
inline constexpr std::uint64_t highBits = 0x8080808080808080U;

template <class Word>
[[nodiscard]] inline std::uint64_t load(const char* bytes) {
    Word word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The first `count` bytes, fewer than eight, as a word that spaces fill up; reads no byte beyond them.
[[nodiscard]] inline std::uint64_t loadPart(const char* bytes, std::size_t count) {
    const std::uint64_t spaces = eachByte * ' ';
    if (count == 0) return spaces;
    std::uint64_t word = 0;
    if (count >= 4) {
        word = load<std::uint32_t>(bytes) | load<std::uint32_t>(bytes + count - 4) << 8 * (count - 4);
    } else {
        const auto byteAt = [bytes](std::size_t at) { return load<std::uint8_t>(bytes + at) << 8 * at; };
        word = byteAt(0) | byteAt(count / 2) | byteAt(count - 1);
    }
    return word | spaces << 8 * count;
}

/// The high bit of each byte of `word` that needs an escape (RFC 8259, section 7). Only the lowest set bit is exact:
/// the bytes above the first hit may be marked in error.
[[nodiscard]] inline std::uint64_t needingEscape(std::uint64_t word) {
    const auto belowByte = [](std::uint64_t bytes, std::uint64_t limit) { return (bytes - eachByte * limit) & ~bytes; };
    return (belowByte(word, 0x20) | belowByte(word ^ eachByte * '"', 1) | belowByte(word ^ eachByte * '\\', 1)) &
           highBits;
}

} // namespace json_text_detail

/// Looks at eight bytes at a time.
[[nodiscard]] inline PlainRun plainRun(std::string_view text) {
    using namespace json_text_detail;
    std::uint64_t seen = 0;
    for (std::size_t offset = 0;; offset += wordSize) {
        const std::size_t left = text.size() - offset;
        const std::uint64_t word =
            left >= wordSize ? load<std::uint64_t>(text.data() + offset) : loadPart(text.data() + offset, left);
        if (const std::uint64_t found = needingEscape(word); found != 0) {
            // The bits below the first hit are those of the bytes before it.
            seen |= word & (found ^ (found - 1)) >> 8;
            return {offset + static_cast<std::size_t>(std::countr_zero(found)) / 8, (seen & highBits) == 0};
        }
        seen |= word;
        if (left < wordSize) return {text.size(), (seen & highBits) == 0};
    }
}

} // namespace VostelMCPKit
