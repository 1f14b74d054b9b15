// Sixteen bytes of text at a time, for the loops that look at every byte of a large text.
//
// A mask has one bit for each byte. The lowest bit is that of the first byte. PortableBlock defines what each mask
// means, and is used on processors that have no VectorBlock here. On all others, the tests compare the two.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace VostelMCPKit {

/// Sixteen bytes, compared one by one.
class PortableBlock final {
public:
    /// In bytes.
    static constexpr std::size_t size = 16;

    /// Reads `size` bytes. They must outlive the block.
    explicit PortableBlock(const char* bytes) : bytes_{bytes} {}

    /// The bytes from `low` to `high`, both included.
    [[nodiscard]] std::uint32_t inRange(unsigned char low, unsigned char high) const {
        std::uint32_t mask = 0;
        for (std::size_t index = 0; index < size; ++index) {
            const auto byte = static_cast<unsigned char>(bytes_[index]);
            mask |= static_cast<std::uint32_t>(low <= byte && byte <= high) << index;
        }
        return mask;
    }
    /// The bytes that belong to longer UTF-8 sequences.
    [[nodiscard]] std::uint32_t notASCII() const { return inRange(0x80, 0xFF); }
    /// The bytes that a JSON string cannot hold as they are: controls, quotation marks, backslashes.
    [[nodiscard]] std::uint32_t notPlain() const { return inRange(0, 0x1F) | inRange('"', '"') | inRange('\\', '\\'); }
    /// The bytes that are equal to those of `other`.
    [[nodiscard]] std::uint32_t equalTo(const PortableBlock& other) const {
        std::uint32_t mask = 0;
        for (std::size_t index = 0; index < size; ++index) {
            mask |= static_cast<std::uint32_t>(bytes_[index] == other.bytes_[index]) << index;
        }
        return mask;
    }

private:
    const char* bytes_;
};

#if defined(__SSE2__)

/// Sixteen bytes in one register. The members are those of PortableBlock.
class VectorBlock final {
public:
    /// In bytes.
    static constexpr std::size_t size = 16;

    /// Reads `size` bytes.
    explicit VectorBlock(const char* bytes) : bytes_{_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))} {}

    /// See PortableBlock::inRange.
    [[nodiscard]] std::uint32_t inRange(unsigned char low, unsigned char high) const {
        return maskOf(atMost(_mm_sub_epi8(bytes_, each(low)), static_cast<unsigned char>(high - low)));
    }
    /// See PortableBlock::notASCII.
    [[nodiscard]] std::uint32_t notASCII() const { return maskOf(bytes_); }
    /// See PortableBlock::notPlain.
    [[nodiscard]] std::uint32_t notPlain() const {
        const __m128i escaped = _mm_or_si128(_mm_cmpeq_epi8(bytes_, each('"')), _mm_cmpeq_epi8(bytes_, each('\\')));
        return maskOf(_mm_or_si128(escaped, atMost(bytes_, 0x1F)));
    }
    /// See PortableBlock::equalTo.
    [[nodiscard]] std::uint32_t equalTo(const VectorBlock& other) const {
        return maskOf(_mm_cmpeq_epi8(bytes_, other.bytes_));
    }

private:
    [[nodiscard]] static __m128i each(unsigned char byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
    [[nodiscard]] static __m128i atMost(__m128i bytes, unsigned char limit) {
        return _mm_cmpeq_epi8(_mm_min_epu8(bytes, each(limit)), bytes);
    }
    /// The highest bit of each byte.
    [[nodiscard]] static std::uint32_t maskOf(__m128i bytes) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
    }

    __m128i bytes_;
};

/// The fastest block of this processor.
using ByteBlock = VectorBlock;

#elif defined(__aarch64__)

/// Sixteen bytes in one register. The members are those of PortableBlock.
class VectorBlock final {
public:
    /// In bytes.
    static constexpr std::size_t size = 16;

    /// Reads `size` bytes.
    explicit VectorBlock(const char* bytes) : bytes_{vld1q_u8(reinterpret_cast<const std::uint8_t*>(bytes))} {}

    /// See PortableBlock::inRange.
    [[nodiscard]] std::uint32_t inRange(unsigned char low, unsigned char high) const {
        const auto width = static_cast<unsigned char>(high - low);
        return maskOf(vcleq_u8(vsubq_u8(bytes_, vdupq_n_u8(low)), vdupq_n_u8(width)));
    }
    /// See PortableBlock::notASCII.
    [[nodiscard]] std::uint32_t notASCII() const { return inRange(0x80, 0xFF); }
    /// See PortableBlock::notPlain.
    [[nodiscard]] std::uint32_t notPlain() const {
        const uint8x16_t escaped = vorrq_u8(vceqq_u8(bytes_, vdupq_n_u8('"')), vceqq_u8(bytes_, vdupq_n_u8('\\')));
        return maskOf(vorrq_u8(escaped, vcltq_u8(bytes_, vdupq_n_u8(0x20))));
    }
    /// See PortableBlock::equalTo.
    [[nodiscard]] std::uint32_t equalTo(const VectorBlock& other) const {
        return maskOf(vceqq_u8(bytes_, other.bytes_));
    }

private:
    /// In each byte of `bytes`, either all bits are set or none.
    [[nodiscard]] static std::uint32_t maskOf(uint8x16_t bytes) {
        static constexpr std::uint8_t bits[size] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
        const uint8x16_t chosen = vandq_u8(bytes, vld1q_u8(bits));
        const std::uint32_t low = vaddv_u8(vget_low_u8(chosen));
        const std::uint32_t high = vaddv_u8(vget_high_u8(chosen));
        return low | high << 8;
    }

    uint8x16_t bytes_;
};

/// The fastest block of this processor.
using ByteBlock = VectorBlock;

#else

/// The fastest block of this processor.
using ByteBlock = PortableBlock;

#endif

/// How many bytes come before the first byte in `mask`, which is not empty.
[[nodiscard]] inline std::size_t countBefore(std::uint32_t mask) {
    return static_cast<std::size_t>(std::countr_zero(mask));
}
/// The mask of all bytes up to the first byte in `mask`, which is included. All bytes when `mask` is empty.
[[nodiscard]] inline std::uint32_t upToFirst(std::uint32_t mask) { return mask ^ (mask - 1); }

/// Whether a block can be read at `at`.
[[nodiscard]] inline bool fitsBlock(const char* at, const char* end) {
    return static_cast<std::size_t>(end - at) >= ByteBlock::size;
}

} // namespace VostelMCPKit
