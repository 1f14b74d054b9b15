#include "companion/store/Vocabulary.h"
#include "tests/companion/store/StoreFixture.h"

namespace vostel_companion {

namespace {

using Addition = VocabularyAddition::Outcome;

std::vector<Addition> add(Vocabulary& vocabulary, const std::vector<VocabularyRule>& rules) {
    const auto additions = vocabulary.add(rules);
    EXPECT_TRUE(additions);
    std::vector<Addition> outcomes;
    for (const VocabularyAddition& addition : *additions) outcomes.push_back(addition.outcome);
    return outcomes;
}

} // namespace

TEST(Vocabulary, each_rule_has_its_own_outcome) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    ASSERT_EQ(add(vocabulary, {{"git hub", "GitHub"}, {"Vostel", ""}}),
              (std::vector{Addition::added, Addition::added}));
    EXPECT_EQ(vocabulary.add(std::vector<VocabularyRule>{
                  {"GIT  HUB", "Git Hub"}, {" Vostel ", " "}, {" ?! ", "what"}, {"new", "word"}}),
              (std::vector<VocabularyAddition>{{{"GIT HUB", "Git Hub"}, Addition::updated},
                                               {{"Vostel", ""}, Addition::unchanged},
                                               {{" ?! ", "what"}, Addition::skipped},
                                               {{"new", "word"}, Addition::added}}));
    EXPECT_EQ(vocabulary.list(),
              (std::vector<VocabularyRule>{{"GIT HUB", "Git Hub"}, {"new", "word"}, {"Vostel", ""}}));
}

TEST(Vocabulary, another_spelling_of_the_word_is_an_update) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    ASSERT_EQ(add(vocabulary, {{"github", ""}}), std::vector{Addition::added});
    EXPECT_EQ(add(vocabulary, {{"GitHub", ""}}), std::vector{Addition::updated});
    EXPECT_EQ(add(vocabulary, {{"GitHub", ""}}), std::vector{Addition::unchanged});
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"GitHub", ""}}));
}

TEST(Vocabulary, rules_of_one_batch_follow_each_other) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    EXPECT_EQ(add(vocabulary, {{"a", "1"}, {"A", "1"}, {"A", "1"}, {"a", "2"}}),
              (std::vector{Addition::added, Addition::updated, Addition::unchanged, Addition::updated}));
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"a", "2"}}));
}

TEST(Vocabulary, the_length_of_a_replacement_is_limited) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    EXPECT_EQ(
        add(vocabulary, {{"a", std::string(longestReplacement, 'x')}, {"b", std::string(longestReplacement + 1, 'x')}}),
        (std::vector{Addition::added, Addition::skipped}));
}

TEST(Vocabulary, the_list_is_ordered_by_word_ignoring_letter_case) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    std::ignore = add(vocabulary, {{"zebra", ""}, {"Apple", ""}, {"apple tree", ""}, {"Émile", ""}, {"banana", ""}});
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{
                                     {"Apple", ""}, {"apple tree", ""}, {"banana", ""}, {"Émile", ""}, {"zebra", ""}}));
}

TEST(Vocabulary, removal_returns_the_words_that_had_a_rule) {
    Database database = openInMemory();
    Vocabulary vocabulary{database};
    std::ignore = add(vocabulary, {{"GitHub", ""}, {"Café", ""}, {"kept", ""}});
    EXPECT_EQ(vocabulary.remove(std::vector<std::string>{"cafe\u0301", "unknown", "GITHUB", "github", "", "?"}),
              (std::vector<std::string>{"Café", "GitHub"}));
    EXPECT_EQ(vocabulary.list(), (std::vector<VocabularyRule>{{"kept", ""}}));
}

TEST(Vocabulary, outcomes_have_the_names_that_the_tools_use) {
    EXPECT_STREQ(name(Addition::added), "added");
    EXPECT_STREQ(name(Addition::updated), "updated");
    EXPECT_STREQ(name(Addition::unchanged), "unchanged");
    EXPECT_STREQ(name(Addition::skipped), "skipped");
}

} // namespace vostel_companion
