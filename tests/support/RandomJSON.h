// JSON texts that nobody picked, and what is left of them after some damage.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace vostel_tests {

/// Deterministic on every platform: the engine is standardised, and the distribution is our own.
class Dice final {
public:
    explicit Dice(std::uint64_t seed) : engine_{seed} {}

    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(engine_() % bound); }
    bool oneIn(std::size_t chances) { return below(chances) == 0; }
    template <class List>
    const auto& oneOf(const List& list) {
        return list[below(std::size(list))];
    }

private:
    std::mt19937_64 engine_;
};

/// Writes texts that are JSON, in all the ways that the grammar allows.
class Author final {
public:
    explicit Author(std::uint64_t seed) : dice_{seed} {}

    std::string document() {
        text_.clear();
        value(/*depth=*/0);
        return text_;
    }

private:
    void space() {
        if (dice_.oneIn(4)) text_ += dice_.oneOf(spaces);
    }

    void value(int depth) { // NOLINT(misc-no-recursion)
        space();
        switch (dice_.below(depth < 5 ? 9 : 6)) {
        case 0:
            text_ += dice_.oneOf(words);
            break;
        case 1:
        case 2:
            number();
            break;
        case 3:
        case 4:
        case 5:
            string();
            break;
        case 6:
            list('[', ']', [&] { value(depth + 1); });
            break;
        default:
            list('{', '}', [&] {
                space();
                string();
                space();
                text_ += ':';
                value(depth + 1);
            });
        }
        space();
    }

    void list(char opening, char closing, const auto& item) {
        text_ += opening;
        for (std::size_t left = dice_.below(6); left > 0; --left) {
            item();
            if (left > 1) text_ += ',';
        }
        space();
        text_ += closing;
    }

    void digits(std::size_t count) {
        for (; count > 0; --count) text_ += static_cast<char>('0' + (dice_.oneIn(3) ? 0 : dice_.below(10)));
    }

    void number() {
        if (dice_.oneIn(4)) {
            text_ += dice_.oneOf(numbers);
            return;
        }
        if (dice_.oneIn(3)) text_ += '-';
        if (dice_.oneIn(4)) {
            text_ += '0';
        } else {
            text_ += static_cast<char>('1' + dice_.below(9));
            digits(dice_.below(dice_.oneIn(4) ? 25 : 6));
        }
        if (dice_.oneIn(3)) {
            text_ += '.';
            digits(1 + dice_.below(dice_.oneIn(4) ? 25 : 6));
        }
        if (dice_.oneIn(4)) {
            text_ += dice_.oneOf(exponentMarks);
            digits(1 + dice_.below(dice_.oneIn(20) ? 3 : 2));
        }
    }

    void string() {
        text_ += '"';
        // Few letters, so that keys repeat.
        const std::size_t most = dice_.oneIn(5) ? 30 : 3;
        for (std::size_t left = dice_.below(most + 1); left > 0; --left) {
            text_ += dice_.oneIn(3) ? dice_.oneOf(pieces) : std::string_view{"aAbB019_"}.substr(dice_.below(8), 1);
        }
        text_ += '"';
    }

    static constexpr std::string_view spaces[] = {" ", "\n", "\t", "\r\n", "    "};
    static constexpr std::string_view words[] = {"null", "true", "false"};
    static constexpr std::string_view exponentMarks[] = {"e", "E", "e+", "E+", "e-", "E-"};
    static constexpr std::string_view numbers[] = {"0",
                                                   "-0",
                                                   "-0.0",
                                                   "1.0",
                                                   "1e3",
                                                   "9223372036854775807",
                                                   "9223372036854775808",
                                                   "-9223372036854775808",
                                                   "-9223372036854775809",
                                                   "18446744073709551615",
                                                   "18446744073709551616",
                                                   "9007199254740993",
                                                   "9007199254740993.0",
                                                   "123456789012345678e1",
                                                   "0.1",
                                                   "1e16",
                                                   "1e-5",
                                                   "9.999999999999999e22",
                                                   "5e-324",
                                                   "2.4703282292062327e-324",
                                                   "1.7976931348623157e308",
                                                   "0.99999999999999999999",
                                                   "1e-400",
                                                   "0e400"};
    static constexpr std::string_view pieces[] = {"é",
                                                  "€",
                                                  "😀",
                                                  "ß",
                                                  "Σ",
                                                  "я",
                                                  "\x7F",
                                                  "\xE2\x80\xA8",
                                                  "/",
                                                  "\\/",
                                                  "\\\\",
                                                  "\\\"",
                                                  "\\b",
                                                  "\\f",
                                                  "\\n",
                                                  "\\r",
                                                  "\\t",
                                                  "\\u0000",
                                                  "\\u001F",
                                                  "\\u0041",
                                                  "\\u00e9",
                                                  "\\uFFFF",
                                                  "\\ud83d\\ude00",
                                                  "a plain run of some length"};

    Dice dice_;
    std::string text_;
};

/// `text` with a few short pieces taken out or replaced; mostly no JSON any more.
inline std::string damaged(std::string text, Dice& dice) {
    static constexpr std::string_view splinters[] = {"{",        "}",
                                                     "[",        "]",
                                                     ",",        ":",
                                                     "\"",       "\\",
                                                     "\\u",      "\\ud800",
                                                     "\\udc00",  "0",
                                                     "-",        "+",
                                                     ".",        "e",
                                                     "E",        "1e400",
                                                     "true",     "nul",
                                                     " ",        "\n",
                                                     "\x01",     "\x1F",
                                                     "\x7F",     "\x80",
                                                     "\xC0",     "\xC3",
                                                     "\xE2\x82", "\xED\xA0\x80",
                                                     "\xF0\x9F", "\xF5",
                                                     "\xFF",     "\xEF\xBB\xBF",
                                                     "/",        "'",
                                                     "a"};
    for (std::size_t changes = 1 + dice.below(3); changes > 0; --changes) {
        const std::size_t position = dice.below(text.size() + 1);
        const std::size_t length = dice.below(3);
        text.replace(position, length, dice.oneIn(4) ? std::string_view{} : dice.oneOf(splinters));
    }
    return text;
}

} // namespace vostel_tests
