// Our reader and writer against another implementation, on texts that nobody picked.
//
// Where the two differ by rule rather than by mistake: the other reader ends at a NUL byte, skips a byte order mark and
// rounds integers that are written with a fraction or an exponent. It keeps integers of 64 unsigned bits.
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using Judge = nlohmann::json;

Judge judged(std::string_view text) { return Judge::parse(text, nullptr, /*allow_exceptions=*/false); }

bool isSameNumber(const MCPValue& ours, const Judge& theirs) {
    if (const auto integer = ours.asInt()) {
        if (theirs.is_number_float()) return static_cast<double>(*integer) == theirs.get<double>();
        return theirs.is_number_integer() && theirs == *integer;
    }
    return theirs.is_number() && ours.asDouble() == theirs.get<double>();
}

/// Whether both hold the same value. The texts of this file nest a little only.
bool isSame(const MCPValue& ours, const Judge& theirs) { // NOLINT(misc-no-recursion)
    switch (ours.kind()) {
    case MCPValue::Kind::Null:
        return theirs.is_null();
    case MCPValue::Kind::Bool:
        return theirs.is_boolean() && theirs.get<bool>() == ours.asBool();
    case MCPValue::Kind::Int:
    case MCPValue::Kind::Double:
        return isSameNumber(ours, theirs);
    case MCPValue::Kind::String:
        return theirs.is_string() && theirs.get_ref<const std::string&>() == ours.asString();
    case MCPValue::Kind::Array: {
        const auto elements = *ours.asArray();
        if (!theirs.is_array() || theirs.size() != elements.size()) return false;
        for (std::size_t index = 0; index < elements.size(); ++index) {
            if (!isSame(elements[index], theirs[index])) return false;
        }
        return true;
    }
    case MCPValue::Kind::Object:
        if (!theirs.is_object() || theirs.size() != ours.asObject()->size()) return false;
        for (const auto& [key, value] : theirs.items()) {
            const MCPValue* found = ours[key];
            if (found == nullptr || !isSame(*found, value)) return false;
        }
        return true;
    }
    return false;
}

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

TEST(JSONDifferential, both_readers_find_the_same_value_in_every_document) {
    Author author{1};
    for (int round = 0; round < 2'500; ++round) {
        const std::string text = author.document();
        SCOPED_TRACE(text);
        const Judge theirs = judged(text);
        const auto ours = readJSON(text);
        // A number beyond the doubles, which neither takes.
        ASSERT_EQ(ours.has_value(), !theirs.is_discarded());
        ASSERT_TRUE(!ours || isSame(*ours, theirs));
    }
}

TEST(JSONDifferential, what_we_write_reads_as_the_same_value_there_and_here) {
    Author author{2};
    for (int round = 0; round < 2'500; ++round) {
        const std::string text = author.document();
        SCOPED_TRACE(text);
        const auto value = readJSON(text);
        if (!value) continue;
        Bytes written;
        ASSERT_TRUE(writeJSON(*value, written));
        SCOPED_TRACE(written.text());
        ASSERT_TRUE(isSame(*value, judged(written.text())));
        // Integral doubles come back as integers, which the comparison with the judge allows for.
        const auto again = readJSON(written.text());
        ASSERT_TRUE(again);
        ASSERT_TRUE(isSame(*again, judged(text)));
    }
}

TEST(JSONDifferential, both_readers_agree_on_what_is_no_JSON) {
    constexpr std::string_view splinters[] = {"{",        "}",
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
    Author author{3};
    Dice dice{4};
    int accepted = 0;
    int rejected = 0;
    while (accepted + rejected < 10'000) {
        std::string text = author.document();
        for (std::size_t changes = 1 + dice.below(3); changes > 0; --changes) {
            const std::size_t position = dice.below(text.size() + 1);
            const std::size_t length = dice.below(3);
            text.replace(position, length, dice.oneIn(4) ? std::string_view{} : dice.oneOf(splinters));
        }
        SCOPED_TRACE(testing::PrintToString(text));
        const auto ours = readJSON(text);
        if (text.starts_with("\xEF\xBB\xBF")) {
            ASSERT_FALSE(ours);
            continue;
        }
        const Judge theirs = judged(text);
        ASSERT_EQ(ours.has_value(), !theirs.is_discarded());
        ASSERT_TRUE(!ours || isSame(*ours, theirs));
        ++(ours ? accepted : rejected);
    }
    // Both answers came up often enough to mean something.
    EXPECT_GT(accepted, 1'000);
    EXPECT_GT(rejected, 4'000);
}

TEST(JSONDifferential, both_readers_agree_on_every_first_byte_of_a_string) {
    for (int first = 1; first < 256; ++first) {
        for (const char second :
             {'a', '"', '\\', 'u', '\x1F', '\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF', '\xC0'}) {
            const std::string text{'"', static_cast<char>(first), second, '\x80', '"'};
            ASSERT_EQ(readJSON(text).has_value(), !judged(text).is_discarded()) << testing::PrintToString(text);
        }
    }
}

TEST(JSONDifferential, both_readers_agree_on_every_short_text_of_the_grammars_characters) {
    constexpr std::string_view alphabet = "{}[],:\"0-.e1 ";
    std::string text;
    const auto judgeAll = [&](const auto& self, std::size_t length) -> void { // NOLINT(misc-no-recursion)
        if (length == 0) {
            ASSERT_EQ(readJSON(text).has_value(), !judged(text).is_discarded()) << text;
            return;
        }
        for (const char character : alphabet) {
            text += character;
            self(self, length - 1);
            text.pop_back();
        }
    };
    for (std::size_t length = 0; length <= 4; ++length) judgeAll(judgeAll, length);
}

} // namespace
} // namespace VostelMCPKit
