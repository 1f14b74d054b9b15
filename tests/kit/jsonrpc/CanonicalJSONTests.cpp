#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "tests/support/RandomJSON.h"
#include "tests/support/Repeat.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::damaged;
using vostel_tests::Generator;
using vostel_tests::Random;

/// The text that our writer gives the value of `text`; empty when `text` is not JSON.
std::string rewritten(std::string_view text) {
    const auto value = readJSON(text);
    Bytes out;
    if (!value || !writeJSON(*value, out)) return {};
    return std::string{out.text()};
}

/// The same without building the value. Empty when that is refused.
std::string rewrittenAsText(std::string_view text) {
    Bytes out;
    if (!appendCanonicalJSON(text, out)) return {};
    return std::string{out.text()};
}

struct TextRow {
    const char* when;
    std::string text;
    /// Rewriting it as text is refused.
    bool needsValue = false;
};

TEST(CanonicalJSON, texts_of_our_writer_are_recognised) {
    const TextRow rows[] = {
        {"a word", "true"},
        {"the other words", "[null,false]"},
        {"an empty string", R"("")"},
        {"characters beyond ASCII", "\"é€😀\x7F\xE2\x80\xA8/\""},
        {"a long string", "\"" + std::string(100, 'a') + "é" + std::string(100, 'b') + "\""},
        {"short escapes", R"("\"\\\b\f\n\r\t")"},
        {"controls without a short escape", R"("\u0000\u000b\u0010\u001f")"},
        {"zero", "0"},
        {"a negative integer", "-17"},
        {"the largest and the smallest integer", "[9223372036854775807,-9223372036854775808]"},
        {"decimals", "[0.5,-0.25,123.456,0.00001,12345678901234.5]"},
        {"decimals of many digits", "[0.1234567890123456,0.30000000000000004]"},
        {"numbers with an exponent", "[1e-06,1.5e-07,1e+19,-1.7976931348623157e+308,5e-324]"},
        {"empty containers", "[[],{},[{}],{\"a\":[]}]"},
        {"an empty key", R"({"":1})"},
        {"keys in order", R"({"a":1,"b":2,"C":3,"d10":4,"é":5})"},
        {"keys with digits", R"({"a2":1,"a10":2})"},
        {"keys with escapes", R"({"\t":1,"\n":2,"a\"":3,"b":4})"},
        {"objects with the same keys", R"([{"a":1,"b":2},{"a":3,"b":4},{"a":5,"b":6}])"},
        {"objects with more and fewer keys", R"([{"a":1,"b":2},{"a":3},{"a":5,"b":6,"c":7},{"b":8}])"},
        {"objects inside objects", R"([{"a":{"b":1,"c":2},"b":3},{"a":{"b":4,"c":5},"b":6}])"},
        {"objects with the same long key", R"([{"a key beyond one block":1},{"a key beyond one block":2}])"},
        {"objects with keys that begin alike", R"([{"a":1,"text":"word"},{"a":2,"texts":"words"},{"tex":"w"}])"},
    };
    vostel_tests::forEachRow(rows, [&](const TextRow& row) {
        EXPECT_EQ(rewritten(row.text), row.text);
        EXPECT_TRUE(isCanonicalJSON(row.text));
        EXPECT_EQ(rewrittenAsText(row.text), row.text);
    });
}

TEST(CanonicalJSON, texts_in_another_form_are_not_recognised) {
    const TextRow rows[] = {
        {"white space before", " 1"},
        {"white space after", "1\n"},
        {"white space inside", "[1, 2]"},
        {"white space in an empty array", "[ ]"},
        {"an escaped slash", R"("\/")"},
        {"an escaped letter", R"("\u0041")"},
        {"an escape in capitals", R"("\u001F")"},
        {"a number for a short escape", R"("\u000a")"},
        {"the other numbers for short escapes", R"(["\u0008","\u0009","\u000c","\u000d"])"},
        {"negative zero", "-0"},
        {"negative zero with a fraction", "-0.0"},
        {"a zero at the end", "0.50"},
        {"an integer with a fraction", "1.0"},
        {"an integer with an exponent", "1e2"},
        {"a large integer with an exponent", "1e+16"},
        {"an integer beyond 64 bits", "9223372036854775808"},
        {"a long integer beyond 64 bits", "-99999999999999999999"},
        {"more digits than the double has", "0.10000000000000001"},
        {"a small number without an exponent", "0.000001"},
        {"an exponent without its sign", "1.5e20"},
        {"an exponent in capitals", "1.5E+20"},
        {"an exponent of one digit", "1e-6"},
        {"keys out of order", R"({"b":1,"a":2})"},
        {"keys in the order of their bytes", R"({"a10":1,"a2":2})"},
        {"a repeated key", R"({"a":1,"a":2})"},
        {"a repeated key with an escape", R"({"\t":1,"\t":2})", true},
        {"keys with escapes out of order", R"({"\n":1,"\t":2})", true},
        {"keys out of order after objects with the same", R"([{"a":1,"b":2},{"a":3,"b":4,"aa":5}])"},
        {"keys of an object out of order after one inside", R"({"b":{"a":1,"c":2},"b":3})"},
        {"a later key of an object before one inside", R"([{"b":{"a":1,"c":2},"a":3}])"},
    };
    vostel_tests::forEachRow(rows, [&](const TextRow& row) {
        EXPECT_NE(rewritten(row.text), "");
        EXPECT_NE(rewritten(row.text), row.text);
        EXPECT_FALSE(isCanonicalJSON(row.text));
        EXPECT_EQ(rewrittenAsText(row.text), row.needsValue ? "" : rewritten(row.text));
    });
}

TEST(CanonicalJSON, texts_that_are_not_JSON_are_not_recognised) {
    const TextRow rows[] = {
        {"nothing", ""},
        {"two values", "1 2"},
        {"two values without space", "[][]"},
        {"a word cut short", "tru"},
        {"a word too long", "truee"},
        {"an open array", "[1"},
        {"an open object", R"({"a":1)"},
        {"a wrong closing", "[1}"},
        {"another wrong closing", R"({"a":1])"},
        {"a comma before the end", "[1,]"},
        {"no colon", R"({"a"1})"},
        {"no key", "{1:2}"},
        {"an open string", R"("a)"},
        {"a long open string", "\"" + std::string(40, 'a')},
        {"a line feed in a string", "\"a\nb\""},
        {"an unknown escape", R"("\x")"},
        {"an escape cut short", R"("\u00)"},
        {"the end after a backslash", "\"\\"},
        {"ill-formed UTF-8", "\"\xC3\""},
        {"a surrogate", "\"\xED\xA0\x80\""},
        {"a sign alone", "-"},
        {"a leading zero", "01"},
        {"a point alone", "1."},
        {"a point first", ".5"},
        {"an exponent without digits", "1e+"},
        {"an integer beyond the range of double", "[" + std::string(400, '7') + "]"},
        {"an exponent beyond the range of double", "1e999"},
        {"a number beyond the range of double", "1e+400"},
        {"a byte order mark", "\xEF\xBB\xBF"
                              "1"},
    };
    vostel_tests::forEachRow(rows, [&](const TextRow& row) {
        EXPECT_EQ(rewritten(row.text), "");
        EXPECT_FALSE(isCanonicalJSON(row.text));
        EXPECT_EQ(rewrittenAsText(row.text), "");
    });
}

TEST(CanonicalJSON, the_value_at_the_beginning_of_a_text_is_taken) {
    struct Row {
        const char* when;
        std::string_view text;
        std::optional<std::string_view> taken;
        std::string_view rest;
    };
    const Row rows[] = {
        {"a value alone", "[1]", "[1]", ""},
        {"a member follows", R"({"a":1},"b":2})", R"({"a":1})", R"(,"b":2})"},
        {"white space before and after", " [1, 2] \n", "[1,2]", " \n"},
        {"a value in another form", R"({"b":1,"a":2.0}])", R"({"a":2,"b":1})", "]"},
        {"a number", "12}", "12", "}"},
        {"a number in another form", "1.0,", "1", ","},
        {"what follows is not examined", "nullify", "null", "ify"},
        {"nothing", {}, {}, {}},
        {"no value", "]", {}, {}},
        {"an open array", "[1", {}, {}},
        {"an open array in another form", "[1, 2", {}, {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        std::string_view text = row.text;
        Bytes out;
        const bool isTaken = takeCanonicalJSON(text, out);
        ASSERT_EQ(isTaken, row.taken.has_value());
        if (!isTaken) return;
        EXPECT_EQ(out.text(), *row.taken);
        EXPECT_EQ(text, row.rest);
    });
}

TEST(CanonicalJSON, exactly_the_texts_that_come_back_unchanged_are_recognised) {
    Generator generator{5};
    Random random{6};
    int recognised = 0;
    int refused = 0;
    int rewrittenTexts = 0;
    const auto compare = [&](const std::string& text) {
        const bool expected = !text.empty() && rewritten(text) == text;
        ASSERT_EQ(isCanonicalJSON(text), expected) << testing::PrintToString(text);
        const std::string asText = rewrittenAsText(text);
        if (asText.empty()) {
            // Only a text that cannot be read and keys with escapes out of order need the value.
            ASSERT_TRUE(rewritten(text).empty() || text.find('\\') != text.npos) << testing::PrintToString(text);
        } else {
            ASSERT_EQ(asText, rewritten(text)) << testing::PrintToString(text);
            ++rewrittenTexts;
        }
        ++(expected ? recognised : refused);
    };
    for (int round = 0; round < 2'000; ++round) {
        const std::string document = generator.document();
        const std::string canonical = rewritten(document);
        compare(document);
        compare(canonical);
        compare(damaged(document, random));
        if (!canonical.empty()) compare(damaged(canonical, random));
    }
    // Each answer occurred often enough.
    EXPECT_GT(recognised, 2'000);
    EXPECT_GT(refused, 2'000);
    EXPECT_GT(rewrittenTexts, recognised + 1'000);
}

TEST(CanonicalJSON, every_changed_byte_of_a_transcript_is_judged_like_reading_and_writing_it) {
    std::string text = R"({"segments":[)";
    for (const char* word : {" the", " \\\"quoted\\\"", " привет", " 会議", " naïve and longer than a block"}) {
        text += R"({"endTime":12.25,"startTime":7.5,"text":")" + std::string{word} + "\"},";
    }
    text.back() = ']';
    text += '}';
    ASSERT_TRUE(isCanonicalJSON(text));
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char byte : {'"', '\\', '0', '.', ',', 'a', ' ', '\xC3', '\x80', '\n', '}', 'e', '-'}) {
            std::string other = text;
            other[at] = byte;
            ASSERT_EQ(isCanonicalJSON(other), rewritten(other) == other) << other;
        }
        const std::string shorter = text.substr(0, at);
        ASSERT_FALSE(isCanonicalJSON(shorter)) << shorter;
    }
}

/// The text of `number` inside a longer text.
std::string surrounded(const std::string& number) { return '[' + number + R"(,"as long as one block"])"; }

TEST(CanonicalJSON, decimals_of_up_to_seventeen_digits_are_judged_like_reading_and_writing_them) {
    Random random{7};
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        if (random.oneIn(3)) text += '-';
        for (std::size_t digits = 1 + random.below(9); digits > 0; --digits)
            text += static_cast<char>('0' + random.below(10));
        text += '.';
        for (std::size_t zeros = random.oneIn(4) ? random.below(6) : 0; zeros > 0; --zeros) text += '0';
        for (std::size_t digits = 1 + random.below(9); digits > 0; --digits)
            text += static_cast<char>('0' + random.below(10));
        const std::string expected = rewritten(text);
        ASSERT_EQ(isCanonicalJSON(text), expected == text) << text;
        ASSERT_EQ(isCanonicalJSON(surrounded(text)), expected == text) << text;
    }
}

TEST(CanonicalJSON, numbers_of_any_characters_are_judged_like_reading_and_writing_them) {
    Random random{8};
    constexpr std::string_view characters = "0012345678900..eE+-";
    int recognised = 0;
    for (int round = 0; round < 60'000; ++round) {
        std::string text;
        for (std::size_t length = 1 + random.below(18); length > 0; --length) {
            text += random.oneIn(2) ? characters[random.below(characters.size())] : '7';
        }
        const bool expected = rewritten(text) == text;
        ASSERT_EQ(isCanonicalJSON(text), expected) << text;
        ASSERT_EQ(isCanonicalJSON(surrounded(text)), expected) << text;
        recognised += expected ? 1 : 0;
    }
    EXPECT_GT(recognised, 5'000);
}

TEST(CanonicalJSON, nesting_of_any_depth_is_recognised) {
    const std::size_t depth = 200'000;
    using vostel_tests::repeat;
    EXPECT_TRUE(isCanonicalJSON(repeat("[", depth) + repeat("]", depth)));
    EXPECT_TRUE(isCanonicalJSON(repeat(R"({"a":)", depth) + "1" + repeat("}", depth)));
    EXPECT_FALSE(isCanonicalJSON(repeat("[", depth)));
}

TEST(CanonicalJSON, members_out_of_order_are_sorted_at_every_level) {
    const TextRow rows[] = {
        {"one level", R"({"c":[1, 2],"a":{},"b":"x"})"},
        {"a repeated key", R"({"b":1,"a":2,"b":3,"a":4})"},
        {"a repeated key in order", R"({"a":1,"a":[2],"b":3})"},
        {"several levels", R"({"z":{"y":{"x":1,"w":[{"d":1,"c":2}]},"v":0},"u":0})"},
        {"an object after one out of order", R"([{"b":1,"a":2},{"a":3,"b":4},{}])"},
        {"white space everywhere", " { \"b\" : [ 1 , 2 ] , \"a\" :\n{ } }\t"},
        {"letter case and digits", R"({"item10":1,"Item9":2,"item2":3,"ITEM2":4})"},
        {"escapes in values", R"({"b":"\u0041\/\ud83d\ude00\u001F\"","a":"\u000A"})"},
    };
    vostel_tests::forEachRow(rows, [&](const TextRow& row) {
        EXPECT_NE(rewritten(row.text), "");
        EXPECT_EQ(rewrittenAsText(row.text), rewritten(row.text));
    });
}

TEST(CanonicalJSON, the_last_of_many_members_with_one_key_remains) {
    std::string text = "{";
    for (int number = 0; number < 100; ++number) {
        text += R"("key )" + std::to_string(number * 7 % 5) + "\":" + std::to_string(number) + ',';
    }
    text.back() = '}';
    EXPECT_EQ(rewrittenAsText(text), R"({"key 0":95,"key 1":98,"key 2":96,"key 3":99,"key 4":97})");
    EXPECT_EQ(rewrittenAsText(text), rewritten(text));
}

TEST(CanonicalJSON, rewriting_appends) {
    Bytes out{"before "};
    ASSERT_TRUE(appendCanonicalJSON(R"({"b":1,"a":[ ]})", out));
    EXPECT_EQ(out.text(), R"(before {"a":[],"b":1})");
}

TEST(CanonicalJSON, deeply_nested_objects_out_of_order_are_not_rewritten_as_text) {
    const std::size_t depth = 20'000;
    using vostel_tests::repeat;
    EXPECT_EQ(rewrittenAsText(repeat(R"({"b":0,"a":)", depth) + "1" + repeat("}", depth)), "");
    const std::string few = repeat(R"({"b":0,"a":)", 10) + "1" + repeat("}", 10);
    EXPECT_EQ(rewrittenAsText(few), rewritten(few));
}

} // namespace
} // namespace VostelMCPKit
