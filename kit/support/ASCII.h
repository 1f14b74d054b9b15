// ASCII letters and digits. The functions of <cctype> ask the locale, so their answers differ between machines.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace VostelMCPKit {

/// Whether `character` is a digit from 0 to 9.
[[nodiscard]] constexpr bool isASCIIDigit(char character) { return character >= '0' && character <= '9'; }

/// Whether `character` is a letter from A to Z or from a to z.
[[nodiscard]] constexpr bool isASCIILetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

/// The lower-case form of a letter from A to Z; every other byte unchanged.
[[nodiscard]] constexpr char asciiLowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// `text` with the letters from A to Z in lower case. Bytes of other UTF-8 characters stay as they are.
[[nodiscard]] inline std::string asciiLowerCase(std::string_view text) {
    std::string result{text};
    for (char& character : result) character = asciiLowerCase(character);
    return result;
}

/// The value, 0 to 15, of a hexadecimal digit in either letter case; absent for any other byte.
[[nodiscard]] constexpr std::optional<int> hexDigit(char character) {
    if (isASCIIDigit(character)) return character - '0';
    const char letter = asciiLowerCase(character);
    if (letter >= 'a' && letter <= 'f') return letter - 'a' + 10;
    return std::nullopt;
}

} // namespace VostelMCPKit
