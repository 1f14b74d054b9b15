// Well-formed UTF-8 (RFC 3629: no surrogates, nothing overlong), for the loops that look at every byte of a large text.
#pragma once

#include "kit/support/ByteBlock.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace VostelMCPKit {

/// The length of the well-formed sequence that begins at `at`, which is before `end`; zero when there is none.
[[nodiscard]] inline std::size_t sequenceLength(const char* at, const char* end) {
    const auto lead = static_cast<unsigned char>(*at);
    if (lead < 0x80) return 1;
    const std::size_t length = lead < 0xE0 ? 2 : (lead < 0xF0 ? 3 : 4);
    if (lead < 0xC2 || lead > 0xF4 || static_cast<std::size_t>(end - at) < length) return 0;
    std::uint32_t codePoint = lead & (0xFFU >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        const auto byte = static_cast<unsigned char>(at[index]);
        if ((byte & 0xC0U) != 0x80) return 0;
        codePoint = codePoint << 6 | (byte & 0x3FU);
    }
    if (length == 3 && (codePoint < 0x800 || (codePoint >= 0xD800 && codePoint <= 0xDFFF))) return 0;
    if (length == 4 && (codePoint < 0x10000 || codePoint > 0x10FFFF)) return 0;
    return length;
}

/// How many bytes at the beginning of `block` are complete well-formed sequences. Examines only the bytes of
/// `considered`, a mask of the first bytes without a gap. Zero when one of them belongs to no well-formed sequence. A
/// sequence that continues after the block does not count.
template <class Block>
[[nodiscard]] std::size_t wholeSequences(const Block& block, std::uint32_t considered) {
    const std::uint32_t continuations = block.inRange(0x80, 0xBF);
    const std::uint32_t leadsOfTwo = block.inRange(0xC2, 0xDF);
    const std::uint32_t leadsOfThree = block.inRange(0xE0, 0xEF);
    const std::uint32_t leadsOfFour = block.inRange(0xF0, 0xF4);
    const std::uint32_t leads = leadsOfTwo | leadsOfThree | leadsOfFour;
    const std::uint32_t expected = leads << 1 | (leadsOfThree | leadsOfFour) << 2 | leadsOfFour << 3;
    std::uint32_t wrong = (block.notASCII() ^ (leads | continuations)) | (expected ^ continuations);
    // Overlong sequences and surrogates begin with one of four bytes. The byte after it decides.
    const auto mark = [&](unsigned char lead, unsigned char low, unsigned char high) {
        wrong |= block.inRange(lead, lead) << 1 & block.inRange(low, high);
    };
    if (leadsOfThree != 0) {
        mark(0xE0, 0x80, 0x9F);
        mark(0xED, 0xA0, 0xBF);
    }
    if (leadsOfFour != 0) {
        mark(0xF0, 0x80, 0x8F);
        mark(0xF4, 0x90, 0xBF);
    }
    constexpr std::uint32_t allBytes = 0xFFFF;
    if ((wrong & considered & allBytes) != 0) return 0;
    const bool isContinued = expected > allBytes;
    return isContinued ? static_cast<std::size_t>(std::bit_width(leads)) - 1 : Block::size;
}

} // namespace VostelMCPKit
