#include "companion/models/LanguageHint.h"

#include "kit/support/ASCII.h"

#include <algorithm>

namespace vostel_companion {

using VostelMCPKit::asciiLowerCase;
using VostelMCPKit::isASCIILetter;

namespace {

bool isLetterOrDigit(char character) { return isASCIILetter(character) || VostelMCPKit::isASCIIDigit(character); }

} // namespace

bool isLanguageHint(std::string_view text) {
    return text.empty() || asciiLowerCase(text) == "auto" || isLanguageCode(text);
}

bool isLanguageCode(std::string_view text) {
    const std::size_t primary = std::min(text.find_first_of("-_"), text.size());
    if (primary < 2 || primary > 3 || !std::ranges::all_of(text.substr(0, primary), isASCIILetter)) return false;
    for (std::string_view rest = text.substr(primary); !rest.empty();) {
        rest.remove_prefix(1);
        const std::string_view subtag = rest.substr(0, rest.find_first_of("-_"));
        if (subtag.empty() || subtag.size() > 8 || !std::ranges::all_of(subtag, isLetterOrDigit)) return false;
        rest.remove_prefix(subtag.size());
    }
    return true;
}

} // namespace vostel_companion
