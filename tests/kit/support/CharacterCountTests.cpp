#include "kit/support/CharacterCount.h"
#include "kit/support/Unicode.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <string>
#include <utf8proc.h>
#include <vector>

namespace VostelMCPKit {
namespace {

/// One row in the form of Unicode's GraphemeBreakTest: "÷" where a new character begins, "×" elsewhere.
struct BreakRow {
    std::string text;
    /// Byte offsets of the end of each character.
    std::vector<std::size_t> ends;
};

BreakRow parse(const char* row) {
    BreakRow parsed;
    std::istringstream words{row};
    for (std::string word; words >> word;) {
        if (word == "÷") {
            if (!parsed.text.empty()) parsed.ends.push_back(parsed.text.size());
        } else if (word != "×") {
            appendUTF8(static_cast<char32_t>(std::stoul(word, nullptr, 16)), parsed.text);
        }
    }
    return parsed;
}

void expectBreaks(const BreakRow& row, const std::string& before = "", const std::string& after = "") {
    const std::size_t lead = before.size();
    const std::string text = before + row.text + after;
    const std::size_t characters = lead + row.ends.size() + after.size();
    for (std::size_t index = 0; index < row.ends.size(); ++index) {
        EXPECT_EQ(countCharacters(text, lead + index + 1), (CharacterCount{characters, lead + row.ends[index]}));
    }
    EXPECT_EQ(countCharacters(text, lead), (CharacterCount{characters, lead}));
    EXPECT_EQ(countCharacters(text, characters + 1), (CharacterCount{characters, text.size()}));
}

TEST(CharacterCount, the_tables_are_those_of_Unicode_15) { EXPECT_STREQ(utf8proc_unicode_version(), "15.0.0"); }

TEST(CharacterCount, characters_end_where_Unicode_says) {
    const char* const rows[] = {
        // Plain characters, alone, in pairs, and around a mark.
        "÷ 0020 ÷",
        "÷ 0020 ÷ 0020 ÷",
        "÷ 0020 × 0308 ÷ 0020 ÷",
        "÷ 0061 ÷ 0062 ÷ 0063 ÷",
        "÷ 0061 × 0308 ÷",
        "÷ 0061 × 0308 × 0301 × 0323 ÷ 0062 ÷",
        "÷ 0020 ÷ 0378 ÷",
        "÷ 0378 × 0308 ÷ 0378 ÷",
        "÷ 0430 × 0306 ÷ 0431 ÷",
        "÷ 0439 ÷ 0451 ÷",
        "÷ 4E2D ÷ 6587 ÷",
        "÷ 00E9 ÷ 0065 × 0301 ÷",
        "÷ 10FFFF ÷ 10FFFF ÷",
        "÷ E000 × 0308 ÷",
        // Line ends and controls.
        "÷ 000D × 000A ÷",
        "÷ 000A ÷ 000D ÷",
        "÷ 000D ÷ 000D × 000A ÷",
        "÷ 000D × 000A ÷ 000A ÷",
        "÷ 000D × 000A ÷ 000D × 000A ÷",
        "÷ 000D ÷ 0061 ÷",
        "÷ 0061 ÷ 000D × 000A ÷ 0062 ÷",
        "÷ 000D × 000A ÷ 0061 ÷ 000A ÷ 0308 ÷",
        "÷ 000D ÷ 0308 ÷ 000A ÷",
        "÷ 000D ÷ 0308 ÷",
        "÷ 000A ÷ 0308 ÷",
        "÷ 0001 ÷ 0308 ÷",
        "÷ 0000 ÷ 0000 ÷",
        "÷ 0009 ÷ 0061 ÷",
        "÷ 0020 ÷ 0001 ÷",
        "÷ 0001 ÷ 0020 ÷",
        "÷ 0061 × 0308 ÷ 0001 ÷",
        "÷ 007F ÷ 0308 ÷",
        "÷ 0085 ÷ 0308 ÷",
        "÷ 00AD ÷ 0308 ÷",
        "÷ 0061 ÷ 200B ÷ 0308 ÷",
        "÷ 2028 ÷ 0308 ÷ 2029 ÷",
        "÷ FEFF ÷ 0061 ÷",
        "÷ 0001 ÷ 200D ÷",
        "÷ 000D ÷ 200D ÷",
        "÷ 000A ÷ 0903 ÷",
        "÷ 0600 ÷ 000A ÷",
        "÷ 1F1E6 ÷ 000D × 000A ÷ 1F1E6 ÷",
        // Extending characters of every kind.
        "÷ 0020 × 034F ÷",
        "÷ 0020 × 0300 ÷",
        "÷ 0020 × 200D ÷",
        "÷ 0020 × 200C ÷ 0061 ÷",
        "÷ 0061 × FE0F ÷",
        "÷ 0023 × FE0F × 20E3 ÷",
        "÷ 0031 × FE0F × 20E3 ÷ 0032 × FE0F × 20E3 ÷",
        "÷ 0300 × 0300 ÷",
        "÷ 0300 × 0308 ÷ 0020 ÷",
        "÷ 200D × 200D ÷ 0061 ÷",
        "÷ 0061 × 200D ÷ 0062 ÷",
        "÷ 0065 × 1F3FB ÷ 0065 ÷",
        "÷ 0646 × 200D ÷ 0020 ÷",
        "÷ 0646 × 064E × 0651 ÷ 0645 ÷",
        "÷ 05D0 × 05B8 × 05BC ÷ 05D1 ÷",
        "÷ 0E01 × 0E33 ÷",
        "÷ 0E01 × 0E34 × 0E49 ÷ 0E02 ÷",
        "÷ 0EB3 × 0EB3 ÷",
        "÷ 0F40 × 0F71 × 0F72 ÷",
        "÷ 0041 × 1D165 ÷",
        "÷ 0061 × E0100 ÷ 0062 ÷",
        "÷ 3042 × 3099 ÷ 3044 ÷",
        // Spacing marks.
        "÷ 0020 × 0903 ÷",
        "÷ 0061 × 0308 × 0903 ÷ 0062 ÷",
        "÷ 0903 × 0903 ÷",
        "÷ AC00 × 0903 ÷",
        "÷ 1F1E6 × 0903 ÷ 1F1E6 ÷",
        // Prepended characters.
        "÷ 0600 × 0020 ÷",
        "÷ 0600 × 0600 × 0031 ÷",
        "÷ 0600 × 0308 ÷ 0020 ÷",
        "÷ 0600 × 1F1E6 × 1F1E7 ÷ 1F1E8 ÷",
        "÷ 0600 × 1100 × 1160 ÷",
        "÷ 0600 × 231A ÷",
        "÷ 0600 × 0903 ÷",
        "÷ 0061 ÷ 0600 × 0062 ÷",
        "÷ 06DD × 0661 ÷ 0662 ÷",
        "÷ 110BD × 11083 ÷",
        "÷ 0D4E × 0D15 ÷",
        // Hangul syllables from their parts.
        "÷ 1100 × 1100 ÷",
        "÷ 1100 × 1160 ÷",
        "÷ 1100 × 1160 × 11A8 ÷",
        "÷ 1100 × 1100 × 1160 × 1160 × 11A8 × 11A8 ÷ 1100 ÷",
        "÷ 1100 ÷ 11A8 ÷",
        "÷ 1100 × AC00 ÷",
        "÷ 1100 × AC01 ÷",
        "÷ 1160 × 1160 ÷",
        "÷ 1160 × 11A8 ÷",
        "÷ 1160 ÷ 1100 ÷",
        "÷ 1160 ÷ AC00 ÷",
        "÷ 11A8 × 11A8 ÷",
        "÷ 11A8 ÷ 1160 ÷",
        "÷ 11A8 ÷ AC01 ÷",
        "÷ AC00 × 1160 ÷",
        "÷ AC00 × 11A8 ÷",
        "÷ AC00 × 11A8 ÷ 1100 ÷",
        "÷ AC00 ÷ 1100 ÷",
        "÷ AC00 ÷ AC00 ÷",
        "÷ AC01 × 11A8 ÷",
        "÷ AC01 × 11A8 ÷ 1100 ÷",
        "÷ AC01 ÷ 1160 ÷",
        "÷ AC01 ÷ AC01 ÷",
        "÷ 1100 × 0308 ÷ 1160 ÷",
        "÷ AC00 × 0308 ÷ 11A8 ÷",
        "÷ D7B0 × D7CB ÷ A960 × D7B0 ÷",
        "÷ 0061 ÷ 1100 ÷ 0061 ÷ 11A8 ÷",
        // Flags.
        "÷ 1F1E6 ÷",
        "÷ 1F1E6 × 1F1E7 ÷",
        "÷ 1F1E6 × 1F1E7 ÷ 1F1E8 ÷",
        "÷ 1F1E6 × 1F1E7 ÷ 1F1E8 × 1F1E9 ÷",
        "÷ 1F1E6 × 1F1E7 ÷ 1F1E8 × 1F1E9 ÷ 1F1EA ÷",
        "÷ 1F1E6 × 1F1E7 ÷ 1F1E8 ÷ 0062 ÷",
        "÷ 0061 ÷ 1F1E6 × 1F1E7 ÷ 1F1E8 ÷ 0062 ÷",
        "÷ 0061 ÷ 1F1E6 × 1F1E7 × 200D ÷ 1F1E8 ÷ 0062 ÷",
        "÷ 0061 ÷ 1F1E6 × 200D ÷ 1F1E7 × 1F1E8 ÷ 0062 ÷",
        "÷ 0061 ÷ 1F1E6 × 1F1E7 ÷ 1F1E8 × 1F1E9 ÷ 0062 ÷",
        "÷ 1F1E6 × 0308 ÷ 1F1E7 ÷",
        "÷ 1F1E6 × 1F1E7 × 0308 ÷ 1F1E8 × 1F1E9 ÷",
        "÷ 1F1E6 ÷ 0020 ÷ 1F1E7 ÷",
        "÷ 1F1F7 × 1F1FA ÷ 1F1FA × 1F1E6 ÷ 000A ÷ 1F1E9 × 1F1EA ÷",
        "÷ 1F3F4 × E0067 × E0062 × E0065 × E006E × E0067 × E007F ÷ 0061 ÷",
        // Emoji, their modifiers and joiners.
        "÷ 231A ÷ 231A ÷",
        "÷ 231A × 0308 ÷ 231A ÷",
        "÷ 1F476 × 1F3FF ÷ 1F476 ÷",
        "÷ 0061 × 1F3FF ÷ 1F476 ÷",
        "÷ 0061 × 1F3FF ÷ 1F476 × 200D × 1F6D1 ÷",
        "÷ 1F476 × 1F3FF × 0308 × 200D × 1F476 × 1F3FF ÷",
        "÷ 1F6D1 × 200D × 1F6D1 ÷",
        "÷ 0061 × 200D ÷ 1F6D1 ÷",
        "÷ 2701 × 200D × 2701 ÷",
        "÷ 0061 × 200D ÷ 2701 ÷",
        "÷ 200D ÷ 231A ÷",
        "÷ 231A × 200D ÷ 0061 ÷",
        "÷ 1F468 × 200D × 1F469 × 200D × 1F467 × 200D × 1F466 ÷ 1F468 ÷",
        "÷ 1F469 × 1F3FD × 200D × 1F4BB ÷",
        "÷ 1F469 × 200D × 2764 × FE0F × 200D × 1F48B × 200D × 1F468 ÷",
        "÷ 1F3F3 × FE0F × 200D × 1F308 ÷ 1F3F3 × FE0F ÷",
        "÷ 1F6D1 × 200D × 200D ÷ 1F6D1 ÷",
        "÷ 1F6D1 × 200D × 0308 ÷ 1F6D1 ÷",
        "÷ 1F6D1 × 0903 × 200D ÷ 1F6D1 ÷",
        "÷ 1F468 × 200D ÷ 1F1E6 × 1F1E7 ÷",
        "÷ 1F1E6 × 1F1E7 × 200D ÷ 1F468 ÷",
        "÷ 00A9 × FE0F ÷ 00AE ÷",
        "÷ 0061 ÷ 1F44D × 1F3FB ÷ 1F44D × 1F3FC ÷ 0062 ÷",
        // Indic syllables.
        "÷ 0915 × 093F ÷",
        "÷ 0928 × 093F ÷ 0938 ÷",
        "÷ 0915 × 0903 ÷ 0915 ÷",
        "÷ 0915 × 0902 ÷ 0916 × 0940 ÷",
        "÷ 0995 × 09BE ÷ 0995 × 09C7 × 09BE ÷",
        "÷ 0B95 × 0BCA ÷ 0BA8 × 0BBF ÷",
        "÷ 0C15 × 0C46 × 0C56 ÷",
        "÷ 0D15 × 0D3E ÷",
        "÷ 0A15 × 0A3C × 0A3F ÷",
        "÷ 0DC3 × 0DD2 × 0D82 ÷",
        "÷ 1000 × 102D × 1030 ÷",
        "÷ 1000 ÷ 102B ÷",
        "÷ 1780 × 17B6 ÷ 1781 ÷",
        "÷ 11680 × 116AC ÷",
    };
    static_assert(std::size(rows) >= 100);
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        const BreakRow parsed = parse(row);
        ASSERT_FALSE(parsed.ends.empty());
        expectBreaks(parsed);
    }
}

TEST(CharacterCount, every_pair_of_classes_breaks_or_joins) {
    const char32_t samples[] = {0x20,   0xD,    0xA,    0x1,    0x34F,  0x1F1E6, 0x600,  0x903, 0x1100,
                                0x1160, 0x11A8, 0xAC00, 0xAC01, 0x231A, 0x300,   0x200D, 0x378};
    // One line for each left side, one column for each right side, in the order of the samples.
    const char* const holdTogether[] = {
        "....x..x......xx.", // space
        "..x..............", // carriage return
        ".................", // line feed
        ".................", // control
        "....x..x......xx.", // extending mark
        "....xx.x......xx.", // regional indicator
        "x...xxxxxxxxxxxxx", // prepended
        "....x..x......xx.", // spacing mark
        "....x..xxx.xx.xx.", // Hangul L
        "....x..x.xx...xx.", // Hangul V
        "....x..x..x...xx.", // Hangul T
        "....x..x.xx...xx.", // Hangul LV
        "....x..x..x...xx.", // Hangul LVT
        "....x..x......xx.", // picture
        "....x..x......xx.", // combining mark
        "....x..x......xx.", // joiner
        "....x..x......xx.", // unassigned
    };
    static_assert(std::size(samples) == std::size(holdTogether));
    for (std::size_t left = 0; left < std::size(samples); ++left) {
        for (std::size_t right = 0; right < std::size(samples); ++right) {
            SCOPED_TRACE(::testing::Message() << std::hex << "U+" << static_cast<unsigned>(samples[left]) << " U+"
                                              << static_cast<unsigned>(samples[right]));
            BreakRow row;
            appendUTF8(samples[left], row.text);
            if (holdTogether[left][right] == '.') row.ends.push_back(row.text.size());
            appendUTF8(samples[right], row.text);
            row.ends.push_back(row.text.size());
            expectBreaks(row);
        }
    }
}

TEST(CharacterCount, the_breaks_are_the_same_between_long_runs_of_ASCII) {
    // The fast path for ASCII counts eight bytes at once, so the test tries each alignment on both sides.
    const char* const rows[] = {
        "÷ 000D × 000A ÷",
        "÷ 0061 × 0301 ÷",
        "÷ 1F1E6 × 1F1E7 ÷ 1F1E8 ÷",
        "÷ 0061 × 200D ÷ 1F6D1 ÷",
        "÷ 1F6D1 × 200D × 1F6D1 ÷",
        "÷ 000A ÷ 0301 ÷",
        "÷ 0431 ÷",
        "÷ 000D ÷ 000D × 000A ÷",
        "÷ 1100 × 1160 × 11A8 ÷",
        "÷ 0061 × 0300 × 0301 ÷",
    };
    for (const char* row : rows) {
        for (std::size_t before = 0; before <= 20; ++before) {
            for (std::size_t after = 0; after <= 20; ++after) {
                SCOPED_TRACE(::testing::Message() << row << " between " << before << " and " << after);
                expectBreaks(parse(row), std::string(before, 'a'), std::string(after, 'b'));
            }
        }
    }
}

TEST(CharacterCount, a_simple_count_with_utf8proc_agrees_on_random_text) {
    const char32_t pieces[] = {'a',    'b',    ' ',    '\r',  '\n',  0x301, 0x200D,   0x1F1E6, 0x1F469, 0x1F3FD, 0x1100,
                               0x1160, 0x11A8, 0xAC00, 0x600, 0x903, 0x430, 0x10FFFF, 0,       0x7F,    0x80};
    std::mt19937 random{15};
    for (int round = 0; round < 2'000; ++round) {
        BreakRow row;
        char32_t previous = 0;
        utf8proc_int32_t state = 0;
        for (auto length = random() % 60; length > 0; --length) {
            const auto many = random() % 4 == 0 ? 1 + random() % 12 : 1;
            const char32_t piece = pieces[random() % std::size(pieces)];
            for (std::size_t copy = 0; copy < many; ++copy) {
                if (!row.text.empty() &&
                    utf8proc_grapheme_break_stateful(static_cast<utf8proc_int32_t>(previous),
                                                     static_cast<utf8proc_int32_t>(piece), &state)) {
                    row.ends.push_back(row.text.size());
                }
                appendUTF8(piece, row.text);
                previous = piece;
            }
        }
        if (!row.text.empty()) row.ends.push_back(row.text.size());
        expectBreaks(row);
    }
}

TEST(CharacterCount, empty_text_has_no_characters) { EXPECT_EQ(countCharacters("", 5), (CharacterCount{0, 0})); }

TEST(CharacterCount, bytes_that_are_not_UTF8_count_as_characters) {
    struct Row {
        const char* when;
        std::string text;
        std::size_t characters;
    };
    const Row rows[] = {
        {"a lone continuation byte", "a\x80z", 3}, {"a sequence cut short at the end", "a\xE2\x82", 3},
        {"a surrogate", "\xED\xA0\x80", 3},        {"an overlong slash", "\xC0\xAF", 2},
        {"bytes that never occur", "\xFF\xFE", 2}, {"a mark after a broken byte joins it", "\xFF\xCC\x81", 1},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(countCharacters(row.text, 1000), (CharacterCount{row.characters, row.text.size()}));
    });
}

} // namespace
} // namespace VostelMCPKit
