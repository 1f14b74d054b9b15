// The loops over strings and numbers that all readers and the writer of JSON text share.
#pragma once

#include "kit/support/ASCII.h"
#include "kit/support/ByteBlock.h"
#include "kit/support/Bytes.h"
#include "kit/support/UTF8.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace VostelMCPKit {

/// Whether a JSON string may hold `byte` as it is: not a control character, a quotation mark or a backslash.
[[nodiscard]] constexpr bool isPlain(char byte) {
    return static_cast<unsigned char>(byte) >= 0x20 && byte != '"' && byte != '\\';
}

/// The end of the bytes from `at` on that a JSON string may hold as they are: plain bytes that are well-formed
/// UTF-8.
[[nodiscard]] inline const char* afterPlain(const char* at, const char* end) {
    while (at != end) {
        std::size_t length = 0;
        if (fitsBlock(at, end)) {
            const ByteBlock block{at};
            const std::uint32_t others = block.notPlain();
            const std::uint32_t considered = upToFirst(others);
            const bool isASCII = (block.notASCII() & considered) == 0;
            length = isASCII ? ByteBlock::size : wholeSequences(block, considered);
            if (others != 0 && length != 0) return at + countBefore(others);
        }
        if (length == 0) {
            if (isPlain(*at)) length = sequenceLength(at, end);
            if (length == 0) break;
        }
        at += length;
    }
    return at;
}

/// The end of the digits from `at` on.
[[nodiscard]] inline const char* afterDigits(const char* at, const char* end) {
    for (; fitsBlock(at, end); at += ByteBlock::size) {
        const std::uint32_t digits = ByteBlock{at}.inRange('0', '9');
        if (digits != 0xFFFF) return at + countBefore(~digits);
    }
    while (at != end && isASCIIDigit(*at)) ++at;
    return at;
}

/// Reads an escape whose backslash is just before `at`, and moves `at` past it. A pair of surrogates is one code
/// point. Absent for an escape that JSON does not have; then `at` is at the wrong byte.
[[nodiscard]] std::optional<char32_t> takeEscape(const char*& at, const char* end);

/// Appends a byte that is not plain as the escape that our writer uses.
void appendEscape(char byte, Bytes& out);

/// How many bytes of `text`, which is valid UTF-8, a JSON string may hold as they are.
[[nodiscard]] inline std::size_t plainLength(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (; fitsBlock(at, end); at += ByteBlock::size) {
        const std::uint32_t others = ByteBlock{at}.notPlain();
        if (others != 0) return static_cast<std::size_t>(at - text.data()) + countBefore(others);
    }
    while (at != end && isPlain(*at)) ++at;
    return static_cast<std::size_t>(at - text.data());
}

} // namespace VostelMCPKit
