#include "companion/store/Dictations.h"
#include "tests/companion/store/StoreFixture.h"

namespace vostel_companion {

namespace {

using Outcome = Dictation::Outcome;

} // namespace

TEST(Dictations, every_field_comes_back_newest_first) {
    Database database = openInMemory();
    Dictations dictations{database};
    const Dictation older{at(1), "first", Outcome::delivered, {}, "Mail", Seconds{2.5}};
    const Dictation newer{at(2), "second", Outcome::notDelivered, "The window was closed.", {}, {}};
    ASSERT_TRUE(dictations.add(newer));
    ASSERT_TRUE(dictations.add(older));
    EXPECT_EQ(dictations.list({}), (Page<Dictation>{{newer, older}, 2}));
}

TEST(Dictations, a_pending_one_is_settled_once) {
    Database database = openInMemory();
    Dictations dictations{database};
    const auto delivered = dictations.add({at(2), "one", Outcome::pending, {}, {}, {}});
    const auto failed = dictations.add({at(1), "two", Outcome::pending, {}, {}, {}});
    ASSERT_TRUE(delivered && failed);
    EXPECT_EQ(dictations.finish(*delivered, std::nullopt), true);
    EXPECT_EQ(dictations.finish(*failed, "No window had the focus."), true);
    EXPECT_EQ(dictations.finish(*failed, std::nullopt), false);
    EXPECT_EQ(dictations.finish(Dictations::Number{99}, std::nullopt), false);

    const auto page = dictations.list({});
    ASSERT_TRUE(page);
    EXPECT_EQ(page->entries[0].outcome, Outcome::delivered);
    EXPECT_EQ(page->entries[1].outcome, Outcome::notDelivered);
    EXPECT_EQ(page->entries[1].failureReason, "No window had the focus.");
}

TEST(Dictations, a_reason_without_a_failure_is_refused) {
    Database database = openInMemory();
    Dictations dictations{database};
    EXPECT_FALSE(dictations.add({at(0), "text", Outcome::delivered, "nonsense", {}, {}}));
}

TEST(Dictations, outcomes_have_the_tools_words) {
    EXPECT_STREQ(name(Outcome::delivered), "delivered");
    EXPECT_STREQ(name(Outcome::notDelivered), "notDelivered");
    EXPECT_STREQ(name(Outcome::pending), "pending");
}

} // namespace vostel_companion
