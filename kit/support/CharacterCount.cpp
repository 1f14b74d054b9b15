#include "kit/support/CharacterCount.h"

#include "kit/support/Unicode.h"

#include <cstdint>
#include <cstring>
#include <utf8proc.h>

namespace VostelMCPKit {

namespace {

constexpr std::uint64_t onePerByte = 0x0101010101010101U;
constexpr std::uint64_t highBits = 0x80U * onePerByte;

/// Whether all eight bytes are ASCII and none is a carriage return. Then each byte is one character. A carriage return
/// and the line feed after it are one character together.
bool isPlain(std::uint64_t word) {
    const std::uint64_t isReturn = word ^ ('\r' * onePerByte);
    return ((word | (isReturn - onePerByte)) & highBits) == 0;
}

bool isPlain(utf8proc_int32_t codePoint) { return codePoint < 0x80 && codePoint != '\r'; }

} // namespace

CharacterCount countCharacters(std::string_view text, std::size_t prefixCharacters) {
    CharacterCount count{0, text.size()};
    // After a line feed a new character always begins, as it does at the start of the text.
    utf8proc_int32_t previous = '\n';
    utf8proc_int32_t state = 0;

    for (std::size_t offset = 0; offset < text.size();) {
        std::uint64_t word;
        if (isPlain(previous) && text.size() - offset >= sizeof word) {
            std::memcpy(&word, text.data() + offset, sizeof word);
            if (isPlain(word)) {
                const std::size_t missing = prefixCharacters - count.characters;
                if (missing < sizeof word) count.prefixBytes = offset + missing;
                count.characters += sizeof word;
                offset += sizeof word;
                previous = static_cast<unsigned char>(text[offset - 1]);
                state = 0;
                continue;
            }
        }

        std::string_view rest = text.substr(offset);
        const auto codePoint = static_cast<utf8proc_int32_t>(takeCodePoint(rest).value_or(0xFFFD));
        if (utf8proc_grapheme_break_stateful(previous, codePoint, &state)) {
            if (count.characters == prefixCharacters) count.prefixBytes = offset;
            ++count.characters;
        }
        previous = codePoint;
        offset = text.size() - rest.size();
    }
    return count;
}

} // namespace VostelMCPKit
