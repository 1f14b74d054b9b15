// Random JSON texts, and damaged copies of them.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace vostel_tests {

/// Gives the same numbers on every platform, because the engine is standardised and the distribution is our own.
class Random final {
public:
    explicit Random(std::uint64_t seed) : engine_{seed} {}

    std::size_t below(std::size_t bound) { return static_cast<std::size_t>(engine_() % bound); }
    bool oneIn(std::size_t chances) { return below(chances) == 0; }
    template <class List>
    const auto& oneOf(const List& list) {
        return list[below(std::size(list))];
    }

private:
    std::mt19937_64 engine_;
};

/// Writes random JSON texts in all forms that the grammar allows.
class Generator final {
public:
    explicit Generator(std::uint64_t seed) : random_{seed} {}

    std::string document() {
        text_.clear();
        value(/*depth=*/0);
        return text_;
    }

private:
    void space() {
        if (random_.oneIn(4)) text_ += random_.oneOf(spaces);
    }

    void value(int depth) { // NOLINT(misc-no-recursion)
        space();
        switch (random_.below(depth < 5 ? 9 : 6)) {
        case 0:
            text_ += random_.oneOf(words);
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
        for (std::size_t left = random_.below(6); left > 0; --left) {
            item();
            if (left > 1) text_ += ',';
        }
        space();
        text_ += closing;
    }

    void digits(std::size_t count) {
        for (; count > 0; --count) text_ += static_cast<char>('0' + (random_.oneIn(3) ? 0 : random_.below(10)));
    }

    void number() {
        if (random_.oneIn(4)) {
            text_ += random_.oneOf(numbers);
            return;
        }
        if (random_.oneIn(3)) text_ += '-';
        if (random_.oneIn(4)) {
            text_ += '0';
        } else {
            text_ += static_cast<char>('1' + random_.below(9));
            digits(random_.below(random_.oneIn(4) ? 25 : 6));
        }
        if (random_.oneIn(3)) {
            text_ += '.';
            digits(1 + random_.below(random_.oneIn(4) ? 25 : 6));
        }
        if (random_.oneIn(4)) {
            text_ += random_.oneOf(exponentMarks);
            digits(1 + random_.below(random_.oneIn(20) ? 3 : 2));
        }
    }

    void string() {
        text_ += '"';
        // Few letters, so that keys repeat.
        const std::size_t most = random_.oneIn(5) ? 30 : 3;
        for (std::size_t left = random_.below(most + 1); left > 0; --left) {
            text_ +=
                random_.oneIn(3) ? random_.oneOf(pieces) : std::string_view{"aAbB019_"}.substr(random_.below(8), 1);
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

    Random random_;
    std::string text_;
};

/// `text` with a few short pieces removed or replaced. The result is usually not JSON.
inline std::string damaged(std::string text, Random& random) {
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
    for (std::size_t changes = 1 + random.below(3); changes > 0; --changes) {
        const std::size_t position = random.below(text.size() + 1);
        const std::size_t length = random.below(3);
        text.replace(position, length, random.oneIn(4) ? std::string_view{} : random.oneOf(splinters));
    }
    return text;
}

} // namespace vostel_tests
