#include "companion/store/Vocabulary.h"
#include "tests/companion/store/StoreFixture.h"

namespace vostel_companion {

namespace {

using Outcome = VocabularyAddition::Outcome;

std::vector<Outcome> add(Vocabulary& vocabulary, const std::vector<VocabularyRule>& rules) {
    const auto additions = vocabulary.add(rules);
    EXPECT_TRUE(additions);
    std::vector<Outcome> outcomes;
    for (const VocabularyAddition& addition : *additions) outcomes.push_back(addition.outcome);
    return outcomes;
}

} // namespace

TEST(Vocabulary, EachRuleHasItsOwnOutcome) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    ASSERT_EQ(add(vocabulary, {{"git hub", "GitHub"}, {"Vostel", ""}}), (std::vector{Outcome::added, Outcome::added}));
    EXPECT_EQ(vocabulary.add(std::vector<VocabularyRule>{
                  {"GIT  HUB", "Git Hub"}, {" Vostel ", " "}, {" ?! ", "what"}, {"new", "word"}}),
              (std::vector<VocabularyAddition>{{{"GIT HUB", "Git Hub"}, Outcome::updated},
                                               {{"Vostel", ""}, Outcome::unchanged},
                                               {{" ?! ", "what"}, Outcome::skipped},
                                               {{"new", "word"}, Outcome::added}}));
    EXPECT_EQ(vocabulary.list(),
              (std::vector<VocabularyRule>{{"GIT HUB", "Git Hub"}, {"new", "word"}, {"Vostel", ""}}));
}

TEST(Vocabulary, AnotherSpellingOfTheWordIsAnUpdate) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    ASSERT_EQ(add(vocabulary, {{"github", ""}}), std::vector{Outcome::added});
    EXPECT_EQ(add(vocabulary, {{"GitHub", ""}}), std::vector{Outcome::updated});
    EXPECT_EQ(add(vocabulary, {{"GitHub", ""}}), std::vector{Outcome::unchanged});
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"GitHub", ""}}));
}

TEST(Vocabulary, RulesOfOneBatchFollowEachOther) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    EXPECT_EQ(add(vocabulary, {{"a", "1"}, {"A", "1"}, {"A", "1"}, {"a", "2"}}),
              (std::vector{Outcome::added, Outcome::updated, Outcome::unchanged, Outcome::updated}));
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"a", "2"}}));
}

TEST(Vocabulary, AReplacementMayBeLongButNotEndless) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    EXPECT_EQ(
        add(vocabulary, {{"a", std::string(longestReplacement, 'x')}, {"b", std::string(longestReplacement + 1, 'x')}}),
        (std::vector{Outcome::added, Outcome::skipped}));
}

TEST(Vocabulary, TheListIsInTheOrderOfTheWordsLetterCaseIgnored) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    std::ignore = add(vocabulary, {{"zebra", ""}, {"Apple", ""}, {"apple tree", ""}, {"Émile", ""}, {"banana", ""}});
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{
                                     {"Apple", ""}, {"apple tree", ""}, {"banana", ""}, {"Émile", ""}, {"zebra", ""}}));
}

TEST(Vocabulary, RemovalAnswersWithTheWordsThatHadARule) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    std::ignore = add(vocabulary, {{"GitHub", ""}, {"Café", ""}, {"kept", ""}});
    EXPECT_EQ(vocabulary.remove(std::vector<std::string>{"cafe\u0301", "unknown", "GITHUB", "github", "", "?"}),
              (std::vector<std::string>{"Café", "GitHub"}));
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"kept", ""}}));
}

TEST(Vocabulary, OutcomesHaveTheToolsWords) {
    EXPECT_STREQ(name(Outcome::added), "added");
    EXPECT_STREQ(name(Outcome::updated), "updated");
    EXPECT_STREQ(name(Outcome::unchanged), "unchanged");
    EXPECT_STREQ(name(Outcome::skipped), "skipped");
}

} // namespace vostel_companion
