#include "kit/jsonrpc/JSONReader.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

/// The offset of the byte at which `text` stops being JSON; absent when it is JSON.
std::optional<std::size_t> failure(std::string_view text) {
    const auto value = readJSON(text);
    if (value) return std::nullopt;
    const auto* error = std::get_if<DecodingError::NotJSON>(&value.error().is);
    EXPECT_NE(error, nullptr) << value.error().description();
    return error != nullptr ? std::optional{error->offset} : std::nullopt;
}

TEST(JSONReader, reads_each_kind_of_value) {
    struct Row {
        const char* when;
        std::string_view text;
        MCPValue expected;
    };
    const Row rows[] = {
        {"null", "null", nullptr},
        {"true", "true", true},
        {"false", "false", false},
        {"an integer", "1", 1},
        {"a double", "1.5", 1.5},
        {"an empty string", "\"\"", ""},
        {"a string", "\"a b\"", "a b"},
        {"an empty array", "[]", MCPValue::array({})},
        {"an empty object", "{}", MCPValue::object({})},
        {"an array of every kind", R"([null,true,1,1.5,"s",[],{}])",
         MCPValue::array({nullptr, true, 1, 1.5, "s", MCPValue::array({}), MCPValue::object({})})},
        {"an object of every kind", R"({"a":null,"b":true,"c":1,"d":1.5,"e":"s","f":[],"g":{}})",
         MCPValue::object({{"a", nullptr},
                           {"b", true},
                           {"c", 1},
                           {"d", 1.5},
                           {"e", "s"},
                           {"f", MCPValue::array({})},
                           {"g", MCPValue::object({})}})},
        {"an empty key", R"({"":1})", MCPValue::object({{"", 1}})},
        {"containers that close one after the other", R"([[{"a":[{}]}],[]])",
         MCPValue::array({MCPValue::array({MCPValue::object({{"a", MCPValue::array({MCPValue::object({})})}})}),
                          MCPValue::array({})})},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(json(row.text), row.expected); });
}

TEST(JSONReader, allows_its_four_kinds_of_white_space_between_tokens) {
    const std::string_view tokens[] = {"{", "\"a\"", ":", "[", "1", ",",     "true", ",",    "{", "}",
                                       ",", "[",     "]", "]", ",", "\"b\"", ":",    "null", "}"};
    const MCPValue expected = json(R"({"a":[1,true,{},[]],"b":null})");
    for (const char* space : {"", " ", "\t", "\n", "\r", " \t\r\n "}) {
        std::string text = space;
        for (const auto token : tokens) text.append(token).append(space);
        EXPECT_EQ(json(text), expected);
    }
}

TEST(JSONReader, understands_every_escape) {
    struct Row {
        const char* when;
        std::string_view text;
        std::string expected;
    };
    const Row rows[] = {
        {"the short forms", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {"an unescaped slash", R"("a/b")", "a/b"},
        {"four digits", R"("\u0041")", "A"},
        {"digits in either letter case", R"("\u00e9\u00E9\uFeFf")", "éé\xEF\xBB\xBF"},
        {"NUL", R"("a\u0000b")", std::string{"a\0b", 3}},
        {"the last control", R"("\u001f")", "\x1F"},
        {"DEL as it is", "\"\x7F\"", "\x7F"},
        {"below the surrogates", R"("\uD7FF")", "\xED\x9F\xBF"},
        {"above the surrogates", R"("\uE000")", "\xEE\x80\x80"},
        {"no character, but a code point", R"("\uFFFF")", "\xEF\xBF\xBF"},
        {"a surrogate pair", R"("\ud83d\ude00")", "😀"},
        {"the first pair", R"("\uD800\uDC00")", "\xF0\x90\x80\x80"},
        {"the last pair", R"("\uDBFF\uDFFF")", "\xF4\x8F\xBF\xBF"},
        {"two pairs", R"("\ud83d\ude00\ud83d\ude00")", "😀😀"},
        {"raw UTF-8", "\"aé€😀\"", "aé€😀"},
        {"raw line separators", "\"\xE2\x80\xA8\xE2\x80\xA9\"", "\xE2\x80\xA8\xE2\x80\xA9"},
        {"an escape after a long plain run", R"("0123456789abcdef\n0123456789abcdef\t")",
         "0123456789abcdef\n0123456789abcdef\t"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(json(row.text), MCPValue{row.expected});
        const MCPValue asKey = json("{" + std::string{row.text} + ":1}");
        ASSERT_NE(asKey[row.expected], nullptr);
    });
}

TEST(JSONReader, names_the_byte_at_which_a_text_stops_being_JSON) {
    struct Row {
        const char* when;
        std::string_view text;
        std::size_t offset;
    };
    using namespace std::string_view_literals;
    const Row rows[] = {
        {"nothing", "", 0},
        {"white space alone", " \n", 2},
        {"a byte order mark", "\xEF\xBB\xBF{}", 0},
        {"NUL", "\0"sv, 0},
        {"NUL after the value", "1\0"sv, 1},
        {"another kind of white space", "\v1", 0},
        {"a no-break space",
         "\xC2\xA0"
         "1",
         0},
        {"two values", "1 2", 2},
        {"two values without a space", "{}{}", 2},
        {"a comma after the value", "1,", 1},
        {"a comment", "1 // one", 2},
        {"another comment", "[/* one */1]", 1},

        {"a word cut short", "nul", 0},
        {"a word too long", "nulll", 4},
        {"a word in capitals", "True", 0},
        {"an unknown word", "undefined", 0},
        {"not a number", "NaN", 0},
        {"infinity", "Infinity", 0},
        {"minus infinity", "-Infinity", 1},

        {"a minus alone", "-", 1},
        {"two minuses", "--1", 1},
        {"a plus", "+1", 0},
        {"a leading zero", "01", 1},
        {"two zeros", "00", 1},
        {"a leading zero after the minus", "-01", 2},
        {"hexadecimal", "0x10", 1},
        {"no digit before the point", ".5", 0},
        {"no digit before the point, negative", "-.5", 1},
        {"no digit after the point", "1.", 2},
        {"no digit between point and exponent", "1.e5", 2},
        {"two points", "1.2.3", 3},
        {"no digit in the exponent", "1e", 2},
        {"no digit after the exponent's sign", "1e+", 3},
        {"two signs in the exponent", "1e+-1", 3},
        {"two exponents", "1e5e5", 3},
        {"a fractional exponent", "1e5.5", 3},
        {"a digit separator", "1_000", 1},
        {"a digit of another script", "\xD9\xA1", 0},

        {"an open string", "\"abc", 4},
        {"an open string that ends in a backslash", "\"abc\\", 5},
        {"single quotation marks", "'a'", 0},
        {"no quotation marks", "a", 0},
        {"a raw tab", "\"a\tb\"", 2},
        {"a raw line feed", "\"a\nb\"", 2},
        {"a raw NUL", "\"a\0b\""sv, 2},
        {"the last control", "\"0123456789\x1F\"", 11},
        {"a raw control after an escape", "\"\\n\x01\"", 3},
        {"an unknown escape", R"("a\qb")", 3},
        {"an escape with a capital letter", R"("\N")", 2},
        {"a hexadecimal escape", R"("\x41")", 2},
        {"three digits", R"("\u041")", 6},
        {"no digits", R"("\u")", 3},
        {"a letter that is not a digit", R"("\u00g0")", 5},
        {"a sign for a digit", R"("\u+041")", 3},
        {"a space for a digit", R"("\u 041")", 3},
        {"the end between the digits", R"("\u00)", 5},
        {"a low surrogate alone", R"("\uDC00")", 7},
        {"the last low surrogate alone", R"("\uDFFF ")", 7},
        {"two low surrogates", R"("\uDC00\uDC00")", 7},
        {"a pair in the wrong order", R"("\uDE00\uD83D")", 7},
        {"a high surrogate alone", R"("\uD800")", 7},
        {"a high surrogate before a letter", R"("\uD800x")", 7},
        {"a high surrogate before another escape", R"("\uD800\n")", 8},
        {"a high surrogate before a character", R"("\uD800\u0041")", 13},
        {"two high surrogates", R"("\uD800\uD800")", 13},
        {"the end after a high surrogate", R"("\uD800)", 7},

        {"an open array", "[", 1},
        {"an open array with an element", "[1", 2},
        {"an open array with a comma", "[1,", 3},
        {"a comma at the end", "[1,]", 3},
        {"a comma alone", "[,]", 1},
        {"a comma at the start", "[,1]", 1},
        {"two commas", "[1,,2]", 3},
        {"no comma", "[1 2]", 3},
        {"a colon in an array", "[1:2]", 2},
        {"a closed array that was not open", "]", 0},
        {"closed once too often", "[]]", 2},
        {"an array closed as an object", "[1}", 2},
        {"an empty array closed as an object", "[}", 1},

        {"an open object", "{", 1},
        {"an open object with a key", "{\"a\"", 4},
        {"an open object with a colon", "{\"a\":", 5},
        {"an open object with a member", "{\"a\":1", 6},
        {"an open object with a comma", "{\"a\":1,", 7},
        {"a comma at the end of an object", "{\"a\":1,}", 7},
        {"a comma alone in an object", "{,}", 1},
        {"no comma in an object", R"({"a":1 "b":2})", 7},
        {"no colon", R"({"a" 1})", 5},
        {"no colon and no value", R"({"a"})", 4},
        {"no value", R"({"a":})", 5},
        {"two colons", R"({"a"::1})", 5},
        {"a key that is not a string", "{1:2}", 1},
        {"a key that is a word", "{null:2}", 1},
        {"an unquoted key", "{a:1}", 1},
        {"a closed object that was not open", "}", 0},
        {"an object closed as an array", R"({"a":1])", 6},
        {"an empty object closed as an array", "{]", 1},
        {"deep inside", R"({"a":[{"b":[1,{"c":tru}]}]})", 19},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(failure(row.text), row.offset); });
}

TEST(JSONReader, refuses_a_text_cut_short_at_any_byte) {
    const std::string_view text = R"( {"id":-12.5e+3,"words":["héllo","\ud83d\ude00 \"x\" \\",true,false,null,[],{}],)"
                                  R"("nested":{"a":[1,[2,[3.0]],{"b":{"c":"0123456789abcdef€"}}]},"z":0})";
    EXPECT_TRUE(readJSON(text));
    for (std::size_t length = 0; length < text.size(); ++length) {
        const auto offset = failure(text.substr(0, length));
        ASSERT_TRUE(offset) << length;
        EXPECT_LE(*offset, length);
    }
}

TEST(JSONReader, refuses_a_text_with_any_byte_replaced_by_an_invalid_one) {
    const std::string text = R"({"id":12,"list":["héllo",true,null,{"a":"0123456789abcdef€"}]})";
    for (const char bad : {'\0', '\x01', '\xC0', '\xFE', '\xFF'}) {
        for (std::size_t position = 0; position < text.size(); ++position) {
            std::string mutated = text;
            mutated[position] = bad;
            EXPECT_TRUE(failure(mutated)) << position;
        }
    }
}

TEST(JSONReader, names_the_first_byte_that_is_not_UTF8_at_any_place) {
    const std::string_view bad[] = {"\x80",
                                    "\xBF",
                                    "\xC0\x80",
                                    "\xC1\xBF",
                                    "\xE0\x9F\xBF",
                                    "\xED\xA0\x80",
                                    "\xED\xBF\xBF",
                                    "\xF4\x90\x80\x80",
                                    "\xF0\x8F\xBF\xBF",
                                    "\xF5",
                                    "\xFE",
                                    "\xFF",
                                    "\xC3",
                                    "\xE2\x82",
                                    "\xF0\x9F\x98"};
    struct Row {
        const char* when;
        std::string_view before;
        std::string_view after;
    };
    const Row rows[] = {
        {"outside of everything", "", "1"},
        {"after the value", "1", ""},
        {"at the start of a string", "\"", "\""},
        {"at the end of a string", "\"0123456789", "\""},
        {"in a string, after eight bytes", "\"0123456", "789\""},
        {"in a string, after nine bytes", "\"01234567", "89abcdefg\""},
        {"after other characters", "\"aé€😀", "€\""},
        {"after an escape", R"("\n)", "\""},
        {"before an escape", "\"a", R"(\n")"},
        {"in an open string", "\"a", ""},
        {"in a key", R"({"ab)", R"(":1})"},
        {"in a value", R"({"a":["b",{"c":"d)", R"("}]})"},
        {"in a number", "[1", "2]"},
        {"instead of a comma", "[1", ",2]"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        for (const auto bytes : bad) {
            std::string text{row.before};
            text.append(bytes).append(row.after);
            EXPECT_EQ(failure(text), row.before.size()) << testing::PrintToString(bytes);
        }
    });
}

TEST(JSONReader, of_repeated_keys_the_last_one_wins) {
    struct Row {
        const char* when;
        std::string_view text;
        const char* expected;
    };
    const Row rows[] = {
        {"side by side", R"({"a":1,"a":2})", R"({"a":2})"},
        {"with others between", R"({"a":1,"b":2,"a":3,"c":4,"b":5})", R"({"a":3,"b":5,"c":4})"},
        {"in descending order", R"({"c":1,"b":2,"c":3,"a":4})", R"({"a":4,"b":2,"c":3})"},
        {"of other kinds", R"({"a":{"x":[1,2]},"a":null})", R"({"a":null})"},
        {"one of them escaped", R"({"a":1,"\u0061":2})", R"({"a":2})"},
        {"many times", R"({"a":1,"a":2,"a":3,"a":4})", R"({"a":4})"},
        {"in an object inside", R"([{"k":{"a":1,"a":2}}])", R"([{"k":{"a":2}}])"},
        {"another letter case is another key", R"({"a":1,"A":2})", R"({"A":2,"a":1})"},
        {"a leading zero is another key", R"({"a1":1,"a01":2,"a1":3})", R"({"a01":2,"a1":3})"},
        {"empty keys", R"({"":1,"":2})", R"({"":2})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(written(json(row.text)), row.expected); });
}

TEST(JSONReader, keeps_strings_of_every_length_as_they_are) {
    for (std::size_t length = 0; length <= 70; ++length) {
        std::string content;
        for (std::size_t index = 0; index < length; ++index) content += static_cast<char>('!' + index % 90);
        std::erase(content, '"');
        std::erase(content, '\\');
        EXPECT_EQ(json("\"" + content + "\""), MCPValue{content});
        const MCPValue object = json("{\"" + content + "\":\"" + content + "\"}");
        ASSERT_NE(object[content], nullptr);
        EXPECT_EQ(object[content]->asString(), content);
    }
}

TEST(JSONReader, reads_a_hundred_thousand_elements_and_members) {
    std::string array = "[0";
    std::string object = "{\"k0\":0";
    for (int index = 1; index < 100'000; ++index) {
        array += "," + std::to_string(index);
        object += ",\"k" + std::to_string(index) + "\":" + std::to_string(index);
    }
    EXPECT_EQ(written(json(array + "]")), array + "]");
    EXPECT_EQ(written(json(object + "}")), object + "}");
}

TEST(DecodingError, describes_itself_in_a_clause) {
    struct Row {
        const char* when;
        DecodingError error;
        const char* expected;
    };
    const Row rows[] = {
        {"no JSON", {DecodingError::NotJSON{17}}, "it is not valid JSON at byte 17"},
        {"a missing key", {DecodingError::KeyNotFound{}, "kind"}, "kind is missing"},
        {"a wrong type", {DecodingError::TypeMismatch{"a string"}, "id"}, "id is not a string"},
        {"a wrong type of the whole", {DecodingError::TypeMismatch{"an object"}}, "it is not an object"},
        {"bad content", {DecodingError::DataCorrupted{"Причина"}, "result"}, "Причина"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(row.error.description(), row.expected); });
}

} // namespace
} // namespace VostelMCPKit
