#include "companion/transcript/WordForm.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

namespace {

/// `text` with a bar at each place inside it where a word can begin or end.
std::string withBoundaries(std::string_view text) {
    const auto characters = folded(text);
    std::string result;
    for (std::size_t position = 0; position < characters.size(); ++position) {
        const std::size_t begin = characters[position].begin;
        const std::size_t end = position + 1 < characters.size() ? characters[position + 1].begin : text.size();
        if (position > 0 && isWordBoundary(characters, position)) result += '|';
        result += text.substr(begin, end - begin);
    }
    return result;
}

} // namespace

TEST(WordForm, spellings_of_one_word_share_their_key) {
    struct Row {
        const char* when;
        const char* left;
        const char* right;
    };
    const Row rows[] = {
        {"letter case", "GitHub", "gITHUB"},
        {"letter case beyond ASCII", "ВОСТЕЛЬ", "востель"},
        {"sharp s", "STRASSE", "straße"},
        {"final sigma", "ΟΔΟΣ", "οδος"},
        {"composed and decomposed", "café", "cafe\u0301"},
        {"marks in another order", "q\u0307\u0323", "q\u0323\u0307"},
        {"a composed character and more marks", "\u1E69", "s\u0307\u0323"},
        {"Hangul syllables and their letters", "한글", "\u1112\u1161\u11AB\u1100\u1173\u11AF"},
        {"the typographic apostrophe", "don’t", "don't"},
        {"the kind of white space", "New York", "new\u00A0york"},
        {"the amount of white space", "New York", "new \t\n york"},
        {"a ligature", "ﬁle", "FILE"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(wordKey(row.left), wordKey(row.right)); });
}

TEST(WordForm, different_words_have_different_keys) {
    struct Row {
        const char* when;
        const char* left;
        const char* right;
    };
    const Row rows[] = {
        {"an accent", "resume", "résumé"}, {"a plural", "cat", "cats"},      {"a space", "any one", "anyone"},
        {"a hyphen", "e-mail", "email"},   {"look-alike letters", "a", "а"}, {"an apostrophe", "its", "it's"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_NE(wordKey(row.left), wordKey(row.right)); });
}

TEST(WordForm, each_folded_character_has_the_offset_of_its_original) {
    EXPECT_EQ(folded("Aß  é"),
              (std::vector<FoldedCharacter>{{'a', 0}, {'s', 1}, {'s', 1}, {' ', 3}, {'e', 5}, {U'\u0301', 5}}));
    EXPECT_EQ(folded(""), std::vector<FoldedCharacter>{});
}

TEST(WordForm, bytes_that_are_not_UTF8_become_the_replacement_character) {
    EXPECT_EQ(folded("\xFF"
                     "a"),
              (std::vector<FoldedCharacter>{{U'\uFFFD', 0}, {'a', 1}}));
}

TEST(WordForm, words_begin_and_end_as_in_UAX_29) {
    struct Row {
        const char* when;
        const char* text;
    };
    const Row rows[] = {
        {"words and spaces", "one| |two"},
        {"punctuation", "Hello|,| |world|!"},
        {"a contraction", "don't| |go"},
        {"a typographic contraction", "don’t| |go"},
        {"quotes around a word", "'|word|'"},
        {"a plural's apostrophe", "dogs|'| |tails"},
        {"a domain", "example.com|,| |or"},
        {"the end of a sentence", "end|.| |Next"},
        {"a decimal number", "3.14| |and| |1,000|,"},
        {"a dot between letter and digit", "v|.|2"},
        {"letters and digits", "mp3| |4k"},
        {"a list of words", "a|,|b|;|c"},
        {"an underscore", "snake_case"},
        {"a hyphen", "e|-|mail"},
        {"marks belong to their letter", "cafe\u0301| |a\u0327\u0301b"},
        {"Cyrillic", "это| |ёж"},
        {"Arabic with marks", "كِتَاب| |ا"},
        {"Persian with a joiner", "می\u200Cخواهم| |x"},
        {"Devanagari", "हिन्दी| |भाषा"},
        {"Hangul", "한국어| |말"},
        {"Chinese separates nothing", "东|京|大|学"},
        {"hiragana after Chinese", "食|べ|る"},
        {"katakana is written in words", "コンピュータ|を"},
        {"Thai separates nothing", "ก|า|แ|ฟ"},
        {"a sign of a Latin word", "C|+|+| |code"},
        {"emoji", "ok|\U0001F44D\U0001F3FD"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        std::string text{row.text};
        std::erase(text, '|');
        EXPECT_EQ(withBoundaries(text), row.text);
    });
}

TEST(WordForm, a_stored_word_is_composed_and_has_no_invisible_characters) {
    struct Row {
        const char* when;
        std::string given;
        std::string kept;
    };
    const Row rows[] = {
        {"as it is", "GitHub", "GitHub"},
        {"white space around it", "\t GitHub \n", "GitHub"},
        {"white space within", "New \u00A0\n York", "New York"},
        {"decomposed", "cafe\u0301", "café"},
        {"control characters", "Git\x1B[31m\x07Hub", "Git[31mHub"},
        {"a NUL", std::string{"Git\0Hub", 7}, "GitHub"},
        {"an override of the writing direction", "Git\u202EHub", "GitHub"},
        {"a soft hyphen and a byte order mark", "\uFEFFGit\u00ADHub", "GitHub"},
        {"a joiner that matters", "می\u200Cخواهم", "می\u200Cخواهم"},
        {"signs with a letter", "C++", "C++"},
        {"digits", "42", "42"},
        {"broken UTF-8", "a\xFF", "a\uFFFD"},
        {"nothing", "", ""},
        {"white space alone", " \t\u3000", ""},
        {"signs alone", "?!…", ""},
        {"a mark alone", "\u0301", ""},
        {"invisible characters alone", "\u200D\u202E", ""},
        {"the longest", std::string(200, 'a'), std::string(200, 'a')},
        {"too long", std::string(201, 'a'), ""},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(normalizedWord(row.given), row.kept); });
}

} // namespace vostel_companion
