#include "kit/support/Unicode.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace VostelMCPKit {
namespace {

std::string utf8(char32_t codePoint) {
    std::string text;
    appendUTF8(codePoint, text);
    return text;
}

TEST(Unicode, code_points_are_written_in_one_to_four_bytes) {
    struct Row {
        const char* when;
        char32_t codePoint;
        std::string bytes;
    };
    const Row rows[] = {
        {"NUL", 0, std::string(1, '\0')},
        {"the last of one byte", 0x7F, "\x7F"},
        {"the first of two", 0x80, "\xC2\x80"},
        {"the last of two", 0x7FF, "\xDF\xBF"},
        {"the first of three", 0x800, "\xE0\xA0\x80"},
        {"below the surrogates", 0xD7FF, "\xED\x9F\xBF"},
        {"above the surrogates", 0xE000, "\xEE\x80\x80"},
        {"the last of three", 0xFFFF, "\xEF\xBF\xBF"},
        {"the first of four", 0x10000, "\xF0\x90\x80\x80"},
        {"the very last", 0x10FFFF, "\xF4\x8F\xBF\xBF"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(utf8(row.codePoint), row.bytes);
        EXPECT_TRUE(isValidUTF8(row.bytes));
    });
}

TEST(Unicode, code_points_are_taken_one_by_one_and_ill_formed_bytes_alone) {
    std::string_view text = "a\u00E9\xC3(\U0001F600\xED\xA0";
    const std::optional<char32_t> expected[] = {U'a', 0xE9, std::nullopt, U'(', 0x1F600, std::nullopt, std::nullopt};
    for (const auto& codePoint : expected) {
        ASSERT_FALSE(text.empty());
        EXPECT_EQ(takeCodePoint(text), codePoint);
    }
    EXPECT_TRUE(text.empty());
}

TEST(Unicode, only_the_two_joiners_are_joiners) {
    EXPECT_TRUE(isJoiner(0x200C) && isJoiner(0x200D));
    EXPECT_FALSE(isJoiner(0x200B) || isJoiner(0x200E));
}

TEST(Unicode, ill_formed_bytes_are_found_at_every_position_of_a_text) {
    struct Row {
        const char* when;
        std::string bytes;
    };
    const Row rows[] = {
        {"a continuation byte alone", "\x80"},
        {"the last continuation byte alone", "\xBF"},
        {"two bytes for ASCII", "\xC0\x80"},
        {"two bytes for DEL", "\xC1\xBF"},
        {"overlong in three bytes", "\xE0\x9F\xBF"},
        {"overlong in four bytes", "\xF0\x8F\xBF\xBF"},
        {"the first surrogate", "\xED\xA0\x80"},
        {"the last surrogate", "\xED\xBF\xBF"},
        {"beyond the last code point", "\xF4\x90\x80\x80"},
        {"a lead byte of no code point", "\xF5\x80\x80\x80"},
        {"a byte that never occurs", "\xFE"},
        {"the other byte that never occurs", "\xFF"},
        {"two bytes cut short", "\xC3"},
        {"three bytes cut short", "\xE2\x82"},
        {"four bytes cut short", "\xF0\x9F\x98"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        for (std::size_t position = 0; position <= 20; ++position) {
            std::string text(20, 'a');
            text.insert(position, row.bytes);
            EXPECT_FALSE(isValidUTF8(text)) << position;
            EXPECT_EQ(validUTF8Prefix(text), position);
            text = std::string(position, 'a') + "é€😀" + row.bytes;
            EXPECT_FALSE(isValidUTF8(text)) << position;
            EXPECT_EQ(validUTF8Prefix(text), text.size() - row.bytes.size());
        }
    });
}

TEST(Unicode, well_formed_text_is_valid_at_every_length) {
    for (std::size_t before = 0; before <= 9; ++before) {
        for (std::size_t after = 0; after <= 9; ++after) {
            const std::string text = std::string(before, 'a') + "é€😀\xEF\xBF\xBF" + std::string(after, '\0');
            EXPECT_TRUE(isValidUTF8(text)) << before << " " << after;
            EXPECT_EQ(validUTF8Prefix(text), text.size());
        }
    }
}

TEST(Unicode, white_space_of_every_kind_is_trimmed_from_both_ends) {
    const char32_t whiteSpace[] = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,   0x85,   0xA0,   0x1680,
                                   0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005, 0x2006, 0x2007, 0x2008,
                                   0x2009, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
    std::string all;
    for (const char32_t codePoint : whiteSpace) {
        const std::string space = utf8(codePoint);
        EXPECT_EQ(trimmed(space), "") << static_cast<unsigned>(codePoint);
        const std::string around = space + "a" + space + "b" + space;
        EXPECT_EQ(trimmed(around), "a" + space + "b") << static_cast<unsigned>(codePoint);
        all += space;
    }
    EXPECT_EQ(trimmed(all), "");
    const std::string around = all + "€" + all;
    EXPECT_EQ(trimmed(around), "€");
}

TEST(Unicode, only_white_space_is_trimmed) {
    struct Row {
        const char* when;
        std::string text;
    };
    const Row rows[] = {
        {"nothing", ""},
        {"backspace and shift out, beside the white controls", "\x08 \x0E"},
        {"the four separators of files, groups, records and units", "\x1C\x1D\x1E\x1F"},
        {"NUL", std::string(1, '\0')},
        {"zero-width space", utf8(0x200B)},
        {"word joiner", utf8(0x2060)},
        {"Mongolian vowel separator", utf8(0x180E)},
        {"byte order mark", utf8(0xFEFF)},
        {"a letter whose last byte is that of a no-break space", "à"},
        {"a letter whose last byte is that of a next-line control", "Å"},
        {"a letter whose last bytes are those of a line separator", "\xF0\x92\x80\xA8"},
        {"a stray last byte of white space", "\xA0"},
        {"a stray first byte of white space", "\xC2"},
        {"a part of an ideographic space", "\xE3\x80"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(trimmed(row.text), row.text);
        const std::string around = " \t" + row.text + "\r\n";
        EXPECT_EQ(trimmed(around), row.text);
    });
}

TEST(Unicode, letter_case_folds_code_point_by_code_point) {
    struct Row {
        const char* when;
        char32_t codePoint;
        char32_t folded;
    };
    const Row rows[] = {
        {"a capital letter", 'A', 'a'},
        {"the last capital letter", 'Z', 'z'},
        {"a small letter", 'm', 'm'},
        {"before the capital letters", '@', '@'},
        {"after the capital letters", '[', '['},
        {"a digit", '7', '7'},
        {"an accented capital letter", 0xC9, 0xE9},
        {"the multiplication sign among the capital letters", 0xD7, 0xD7},
        {"a Greek capital letter", 0x03A3, 0x03C3},
        {"a sigma at the end of a word", 0x03C2, 0x03C3},
        {"a Cyrillic capital letter", 0x042F, 0x044F},
        {"sharp s, which only full folding takes apart", 0xDF, 0xDF},
        {"capital sharp s", 0x1E9E, 0xDF},
        {"capital I with a dot, which only full and Turkic folding change", 0x0130, 0x0130},
        {"the Kelvin sign", 0x212A, 'k'},
        {"the Angstrom sign", 0x212B, 0xE5},
        {"a title-case digraph", 0x01C5, 0x01C6},
        {"a Greek letter with its iota beside it", 0x1F88, 0x1F80},
        {"a ligature", 0xFB00, 0xFB00},
        {"a small Cherokee letter, which folds upwards", 0xAB70, 0x13A0},
        {"a capital letter beyond the first plane", 0x10400, 0x10428},
        {"an emoji", 0x1F600, 0x1F600},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const std::string text = utf8(row.codePoint) + "rest";
        std::string_view rest = text;
        EXPECT_EQ(takeFolded(rest), row.folded);
        EXPECT_EQ(rest, "rest");
    });
}

TEST(Unicode, a_byte_that_is_not_UTF8_folds_to_itself) {
    std::string_view text = "\xFF\x41";
    EXPECT_EQ(takeFolded(text), char32_t{0xFF});
    EXPECT_EQ(takeFolded(text), char32_t{'a'});
    EXPECT_TRUE(text.empty());
}

TEST(Unicode, repair_replaces_each_byte_that_is_not_UTF8) {
    EXPECT_EQ(repairedUTF8("fe80::1%é"), "fe80::1%é");
    EXPECT_EQ(repairedUTF8("fe80::1%\xFF\xC3"), "fe80::1%\uFFFD\uFFFD");
    EXPECT_EQ(repairedUTF8(""), "");
    for (std::size_t position = 0; position <= 100; ++position) {
        const std::string before(position, 'a');
        const std::string after(100 - position, 'b');
        EXPECT_EQ(repairedUTF8(before + "\xE2\x82" + after), before + "\uFFFD\uFFFD" + after);
    }
}

TEST(Unicode, code_points_have_a_category) {
    struct Row {
        const char* when;
        char32_t codePoint;
        Category category;
    };
    const Row rows[] = {
        {"a capital letter", U'A', Category::letter},
        {"a Chinese character", U'\u6F22', Category::letter},
        {"a digit", U'7', Category::number},
        {"a fraction", U'\u00BD', Category::number},
        {"an underscore", U'_', Category::connector},
        {"a line feed", U'\n', Category::control},
        {"a direction override", U'\u202E', Category::format},
        {"a joiner", U'\u200D', Category::format},
        {"a line separator", U'\u2028', Category::lineSeparator},
        {"a paragraph separator", U'\u2029', Category::lineSeparator},
        {"private use", U'\uE000', Category::unassigned},
        {"not assigned", U'\u0378', Category::unassigned},
        {"a mark", U'\u0301', Category::other},
        {"a symbol", U'+', Category::other},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) { EXPECT_EQ(categoryOf(row.codePoint), row.category); });
}

TEST(Unicode, a_letter_has_the_form_that_begins_a_sentence) {
    EXPECT_EQ(titleCase(U'a'), U'A');
    EXPECT_EQ(titleCase(U'\u00E9'), U'\u00C9');
    EXPECT_EQ(titleCase(U'\u01C6'), U'\u01C5') << "neither small nor capital";
    for (const char32_t same : {U'A', U'7', U'\'', U'\u6F22'}) EXPECT_EQ(titleCase(same), same);
}

TEST(Unicode, invisible_characters_are_not_white_space) {
    for (const char32_t space : {U' ', U'\t', U'\n', U'\u0085', U'\u00A0', U'\u2028'}) EXPECT_TRUE(isWhiteSpace(space));
    for (const char32_t other : {U'\u200B', U'\u200D', U'a'}) EXPECT_FALSE(isWhiteSpace(other));
}

TEST(Unicode, a_mark_is_a_part_of_the_character_before_it) {
    for (const char32_t mark : {U'\u0301', U'\u0903', U'\u200D'}) EXPECT_TRUE(extendsCharacter(mark));
    for (const char32_t other : {U'a', U' ', U'\u6F22'}) EXPECT_FALSE(extendsCharacter(other));
    EXPECT_EQ(combiningClass(U'a'), 0);
    EXPECT_EQ(combiningClass(U'\u0301'), 230);
    EXPECT_EQ(combiningClass(U'\u0323'), 220);
}

TEST(Unicode, folding_decomposes_and_composing_undoes_that) {
    EXPECT_EQ(foldedDecomposition(U'A'), U"a");
    EXPECT_EQ(foldedDecomposition(U'\u00C9'), U"e\u0301");
    EXPECT_EQ(foldedDecomposition(U'\u00DF'), U"ss");
    EXPECT_EQ(composed("e\xCC\x81"), "\xC3\xA9");
    EXPECT_EQ(composed("plain"), "plain");
    EXPECT_EQ(composed("not \xFF UTF-8"), "not \xFF UTF-8");
}

} // namespace
} // namespace VostelMCPKit
