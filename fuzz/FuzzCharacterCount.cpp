#include "fuzz/fuzz.h"
#include "kit/support/CharacterCount.h"

#include <utf8proc.h>

using namespace VostelMCPKit;

namespace {

/// A slow reference implementation that examines every code point.
CharacterCount countPlainly(std::string_view text, std::size_t prefixCharacters) {
    CharacterCount count{0, text.size()};
    utf8proc_int32_t previous = 0;
    utf8proc_int32_t state = 0;
    for (std::size_t offset = 0; offset < text.size();) {
        utf8proc_int32_t codePoint = 0;
        auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data() + offset),
                                       static_cast<utf8proc_ssize_t>(text.size() - offset), &codePoint);
        if (length < 1) {
            length = 1;
            codePoint = 0xFFFD;
        }
        if (offset == 0 || utf8proc_grapheme_break_stateful(previous, codePoint, &state)) {
            if (count.characters++ == prefixCharacters) count.prefixBytes = offset;
        }
        previous = codePoint;
        offset += static_cast<std::size_t>(length);
    }
    return count;
}

} // namespace

/// The first byte is the length of the prefix in characters.
void check(std::string_view text) {
    if (text.empty()) return;
    const auto choice = static_cast<unsigned char>(text.front());
    text.remove_prefix(1);
    require(countCharacters(text, choice) == countPlainly(text, choice), "the fast count equals the reference");
}
