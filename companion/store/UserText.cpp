#include "companion/store/UserText.h"

#include "kit/support/Unicode.h"

#include <limits>
#include <utf8proc.h>

namespace vostel_companion {

namespace {

struct Opening {
    std::size_t characters;
    std::size_t bytes;
};

Opening measure(std::string_view text, std::size_t most) {
    std::size_t characters = 0;
    std::size_t position = 0;
    utf8proc_int32_t previous = 0;
    utf8proc_int32_t state = 0;
    while (position < text.size()) {
        utf8proc_int32_t current = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + position,
                                             static_cast<utf8proc_ssize_t>(text.size() - position), &current);
        // A byte that is no UTF-8 is seen as one replacement character.
        if (length <= 0) current = 0xFFFD;
        const bool beginsCharacter = position == 0 || utf8proc_grapheme_break_stateful(previous, current, &state);
        if (beginsCharacter) {
            if (characters == most) break;
            ++characters;
        }
        previous = current;
        position += length <= 0 ? 1 : static_cast<std::size_t>(length);
    }
    return {characters, position};
}

} // namespace

std::size_t characterCount(std::string_view text) {
    return measure(text, std::numeric_limits<std::size_t>::max()).characters;
}

std::string_view openingCharacters(std::string_view text, std::size_t count) {
    return text.substr(0, measure(text, count).bytes);
}

std::string repairedUTF8(std::string_view bytes) {
    if (VostelMCPKit::isValidUTF8(bytes)) return std::string{bytes};
    std::string repaired;
    for (std::size_t position = 0; position < bytes.size();) {
        utf8proc_int32_t codePoint = 0;
        const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(bytes.data()) + position,
                                             static_cast<utf8proc_ssize_t>(bytes.size() - position), &codePoint);
        VostelMCPKit::appendUTF8(length > 0 ? static_cast<char32_t>(codePoint) : U'\uFFFD', repaired);
        position += length > 0 ? static_cast<std::size_t>(length) : 1;
    }
    return repaired;
}

} // namespace vostel_companion
