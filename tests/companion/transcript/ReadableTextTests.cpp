#include "companion/transcript/ReadableText.h"
#include "companion/transcript/SpokenTurns.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

namespace {

/// A word that follows the one before it after `pause` seconds.
struct Spoken {
    const char* text;
    double pause = 0;
};

std::vector<TranscriptSegment> segments(const std::vector<Spoken>& words) {
    std::vector<TranscriptSegment> result;
    double time = 0;
    for (const auto& [text, pause] : words) {
        time += pause;
        result.push_back({text, Seconds{time}, Seconds{time + 0.25}});
        time += 0.25;
    }
    return result;
}

} // namespace

TEST(ReadableText, a_pause_ends_a_sentence_or_a_paragraph) {
    struct Row {
        const char* when;
        std::vector<Spoken> words;
        const char* text;
    };
    const Row rows[] = {
        {"nobody speaks", {}, ""},
        {"one word", {{"yes"}}, "Yes."},
        {"one sentence", {{"how"}, {"are"}, {"you"}}, "How are you."},
        {"a late beginning", {{"hello", 60}, {"there"}}, "Hello there."},
        {"a pause just below a sentence's", {{"well", 0}, {"then", 0.39}}, "Well then."},
        {"a pause that ends a sentence", {{"well"}, {"then", 0.41}, {"go"}}, "Well. Then go."},
        {"a pause just below a paragraph's", {{"well"}, {"then", 1.49}}, "Well. Then."},
        {"a pause that ends a paragraph", {{"well"}, {"then", 1.51}, {"go"}}, "Well.\n\nThen go."},
        {"words that overlap", {{"well"}, {"then", -0.1}}, "Well then."},
    };
    vostel_tests::forEachRow(rows,
                             [](const Row& row) { EXPECT_EQ(readableText(segments(row.words), "en", {}), row.text); });
}

TEST(ReadableText, has_capitals_at_the_beginning_of_sentences_and_for_the_first_person) {
    struct Row {
        const char* when;
        std::vector<Spoken> words;
        std::optional<std::string> language;
        const char* text;
    };
    const Row rows[] = {
        {"the first person", {{"and"}, {"i"}, {"know"}, {"i'm"}}, "en", "And I know I'm."},
        {"not every i", {{"in"}, {"ice"}}, "en", "In ice."},
        {"another language", {{"mleko"}, {"i"}, {"chleb"}}, "pl", "Mleko i chleb."},
        {"an unknown language", {{"a"}, {"i"}}, std::nullopt, "A i."},
        {"an accent", {{"\u00E9t\u00E9"}}, "fr", "\u00C9t\u00E9."},
        {"an apostrophe first", {{"'tis"}}, "en", "'Tis."},
        {"a number first", {{"4th"}}, "en", "4th."},
        {"no letter at all", {{"\u2026"}}, "en", "\u2026"},
        {"letters without capitals", {{"\u6F22\u5B57"}}, "zh", "\u6F22\u5B57."},
        {"capitals already", {{"iPhone"}, {"NATO", 1}}, "en", "iPhone. NATO."},
        {"bytes that are not UTF-8",
         {{"\xFF"
           "a"}},
         "en",
         "\xFF"
         "A."},
    };
    vostel_tests::forEachRow(
        rows, [](const Row& row) { EXPECT_EQ(readableText(segments(row.words), row.language, {}), row.text); });
}

TEST(ReadableText, adds_no_full_stop_after_another_mark) {
    for (const char* word : {"etc.", "Yahoo!", "why?", "so:", "wait\u2026"}) {
        const std::string first = std::string{"A "} + word;
        EXPECT_EQ(readableText(segments({{"a"}, {word}, {"b", 0.5}}), "en", {}), first + " B.");
        EXPECT_EQ(readableText(segments({{"a"}, {word}}), "en", {}), first);
    }
    EXPECT_EQ(readableText(segments({{"C++"}, {"helps", 1}}), "en", {}), "C++. Helps.");
}

TEST(ReadableText, keeps_the_spelling_of_the_vocabulary) {
    const VocabularyRule rules[] = {
        {"node package manager", "npm"}, {"kubectl", ""}, {"i phone", "my iPhone"}, {"i", "i"}};
    EXPECT_EQ(readableText(segments({{"npm"}, {"kubectl", 1}, {"helps"}, {"npm"}}), "en", rules),
              "npm. kubectl helps npm.");
    EXPECT_EQ(readableText(segments({{"my iPhone"}, {"and"}, {"i"}}), "en", rules), "my iPhone and i.");
}

TEST(ReadableText, a_turn_of_a_call_has_no_paragraphs) { EXPECT_GT(paragraphPause, turnPause); }

} // namespace vostel_companion
