#include "companion/support/Time.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

namespace {

using Rules = std::vector<VocabularyRule>;

TranscriptSegment spoken(std::string text, double startTime, double endTime) {
    return {std::move(text), Seconds{startTime}, Seconds{endTime}};
}

} // namespace

TEST(VocabularyMatcher, a_rule_replaces_its_exact_word_form) {
    struct Row {
        const char* when;
        Rules rules;
        std::string text;
        std::string result;
    };
    const Row rows[] = {
        {"no rules", {}, "as it was", "as it was"},
        {"no text", {{"a", "b"}}, "", ""},
        {"a word", {{"vostell", "Vostel"}}, "ask vostell now", "ask Vostel now"},
        {"the whole text", {{"vostell", "Vostel"}}, "vostell", "Vostel"},
        {"every place", {{"a", "b"}}, "a c a a", "b c b b"},
        {"letter case ignored", {{"VoStell", "Vostel"}}, "VOSTELL vostell", "Vostel Vostel"},
        {"not within a word", {{"cat", "dog"}}, "concatenate cats cat's", "concatenate cats cat's"},
        {"not at the end of a word", {{"cat", "dog"}}, "bobcat \u043Bcat", "bobcat \u043Bcat"},
        {"beside punctuation", {{"cat", "dog"}}, "(cat), \"cat\"; cat.", "(dog), \"dog\"; dog."},
        {"in a compound with a hyphen", {{"cat", "dog"}}, "cat-flap", "dog-flap"},
        {"not within a domain", {{"example", "x"}}, "example.com example.", "example.com x."},
        {"not within a number", {{"3", "three"}}, "3.14 and 3", "3.14 and three"},
        {"an inflected form needs its own rule", {{"run", "walk"}}, "run runs running", "walk runs running"},
        {"an accent is another word", {{"resume", "x"}}, "resume résumé", "x résumé"},
        {"a decomposed text", {{"café", "bar"}}, "the cafe\u0301!", "the bar!"},
        {"a decomposed letter is not its base", {{"cafe", "bar"}}, "cafe\u0301 cafe", "cafe\u0301 bar"},
        {"Cyrillic", {{"востел", "Vostel"}}, "Это Востел, да", "Это Vostel, да"},
        {"sharp s", {{"STRASSE", "street"}}, "die Straße hier", "die street hier"},
        {"Chinese within its sentence", {{"东京", "Tokyo"}}, "我去东京。", "我去Tokyo。"},
        {"a replacement with signs", {{"c plus plus", "C++"}}, "in C Plus plus.", "in C++."},
        {"a word that ends with signs", {{"C++", "Rust"}}, "C++ or C", "Rust or C"},
        {"an empty replacement fixes the spelling", {{"GitHub", ""}}, "on github and GITHUB", "on GitHub and GitHub"},
        {"a phrase", {{"new york", "New York"}}, "in new york city", "in New York city"},
        {"a phrase across a line break", {{"new york", "New York"}}, "in new \n york", "in New York"},
        {"only a part of a phrase", {{"new york", "NY"}}, "new yorkers, new", "new yorkers, new"},
        {"the longest applies",
         {{"new", "old"}, {"new york", "NY"}, {"new york city", "NYC"}},
         "new york city new york new",
         "NYC NY old"},
        {"a longer one that does not match completely",
         {{"new", "old"}, {"new york city", "NYC"}},
         "new york town",
         "old york town"},
        {"the first of two that overlap", {{"a b", "1"}, {"b c", "2"}}, "a b c", "1 c"},
        {"replaced text is not searched again", {{"a", "b"}, {"b", "a"}}, "a b", "b a"},
        {"also not together with the text after it", {{"a", "x"}, {"x b", "y"}}, "a b", "x b"},
        {"a replacement with the word itself", {{"york", "new york"}}, "york", "new york"},
        {"the rest is untouched, white space included", {{"a", "b"}}, "  c\t\ta\r\n\r\nd  ", "  c\t\tb\r\n\r\nd  "},
        {"broken UTF-8 around it", {{"a", "b"}}, "\xFF a \xC3", "\xFF b \xC3"},
        {"a word without text matches nothing", {{"", "x"}}, "some text", "some text"},
    };
    vostel_tests::forEachRow(
        rows, [&](const Row& row) { EXPECT_EQ(VocabularyMatcher{row.rules}.apply(row.text), row.result); });
}

TEST(VocabularyMatcher, the_order_of_the_rules_does_not_matter) {
    const Rules rules = {{"new york city", "NYC"}, {"new", "old"}, {"new york", "NY"}};
    const Rules reversed{rules.rbegin(), rules.rend()};
    const std::string text = "new york city, new york, new";
    EXPECT_EQ(VocabularyMatcher{rules}.apply(text), VocabularyMatcher{reversed}.apply(text));
}

TEST(VocabularyMatcher, a_segment_keeps_its_times) {
    const VocabularyMatcher matcher{Rules{{"vostell", "Vostel"}}};
    EXPECT_EQ(matcher.apply(std::vector{spoken("ask", 0, 1), spoken("vostell", 1, 2), spoken("now", 2, 3)}),
              (std::vector{spoken("ask", 0, 1), spoken("Vostel", 1, 2), spoken("now", 2, 3)}));
}

TEST(VocabularyMatcher, a_phrase_joins_its_segments) {
    const VocabularyMatcher matcher{Rules{{"new york", "New York"}, {"city hall", "City Hall"}}};
    EXPECT_EQ(
        matcher.apply(std::vector{spoken("in", 0, 1), spoken("new", 1, 2), spoken("york", 2, 3), spoken("city", 3, 4),
                                  spoken("hall", 4, 5), spoken("now", 5, 6)}),
        (std::vector{spoken("in", 0, 1), spoken("New York", 1, 3), spoken("City Hall", 3, 5), spoken("now", 5, 6)}));
}

TEST(VocabularyMatcher, phrases_that_share_a_segment_join_all) {
    const VocabularyMatcher matcher{Rules{{"a b", "1"}, {"c d", "2"}}};
    EXPECT_EQ(matcher.apply(std::vector{spoken("a", 0, 1), spoken("b c", 1, 2), spoken("d e", 2, 3)}),
              (std::vector{spoken("1 2 e", 0, 3)}));
}

TEST(VocabularyMatcher, segments_without_text_stay) {
    const VocabularyMatcher matcher{Rules{{"a b", "1"}}};
    EXPECT_EQ(matcher.apply(std::vector{spoken("", 0, 1), spoken("a", 1, 2), spoken("", 2, 3), spoken("b", 3, 4)}),
              (std::vector{spoken("", 0, 1), spoken("1", 1, 4)}));
    EXPECT_EQ(matcher.apply(std::vector<TranscriptSegment>{}), std::vector<TranscriptSegment>{});
}

TEST(VocabularyMatcher, text_and_segments_agree) {
    const VocabularyMatcher matcher{Rules{{"new york", "NY"}, {"it's", "it is"}, {"GitHub", ""}}};
    const std::vector segments = {spoken("it's", 0, 1), spoken("new", 1, 2), spoken("york", 2, 3),
                                  spoken("github", 3, 4)};
    std::string joined;
    for (const TranscriptSegment& segment : matcher.apply(segments)) joined += segment.text + " ";
    EXPECT_EQ(joined, matcher.apply("it's new york github "));
}

TEST(VocabularyMatcher, many_rules_over_a_long_text_take_one_pass) {
    Rules rules;
    for (int number = 0; number < 5'000; ++number) {
        rules.push_back({"word number " + std::to_string(number), std::to_string(number)});
    }
    std::string text;
    std::string expected;
    for (int number = 0; number < 20'000; ++number) {
        text += "word number " + std::to_string(number) + " ";
        expected += number < 5'000 ? std::to_string(number) + " " : "word number " + std::to_string(number) + " ";
    }
    EXPECT_EQ(VocabularyMatcher{rules}.apply(text), expected);
}

} // namespace vostel_companion
