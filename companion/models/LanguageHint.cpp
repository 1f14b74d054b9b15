#include "companion/models/LanguageHint.h"

#include <algorithm>

namespace vostel_companion {

namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isLetterOrDigit(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

bool isLanguageHint(std::string_view text) {
    constexpr std::string_view automatic = "auto";
    return text.empty() || std::ranges::equal(text, automatic, {}, lower) || isLanguageCode(text);
}

bool isLanguageCode(std::string_view text) {
    const std::size_t primary = std::min(text.find_first_of("-_"), text.size());
    if (primary < 2 || primary > 3 || !std::ranges::all_of(text.substr(0, primary), isLetter)) return false;
    for (std::string_view rest = text.substr(primary); !rest.empty();) {
        rest.remove_prefix(1);
        const std::string_view subtag = rest.substr(0, rest.find_first_of("-_"));
        if (subtag.empty() || subtag.size() > 8 || !std::ranges::all_of(subtag, isLetterOrDigit)) return false;
        rest.remove_prefix(subtag.size());
    }
    return true;
}

} // namespace vostel_companion
