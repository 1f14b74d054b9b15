#include "companion/store/Dictations.h"
#include "tests/companion/store/StoreFixture.h"

namespace vostel_companion {

namespace {

using Outcome = Dictation::Outcome;

} // namespace

TEST(Dictations, every_field_is_stored_and_the_newest_is_first) {
    Database database = openInMemory();
    Dictations dictations{database};
    const Dictation older{uuid(1), at(1), "first", Outcome::delivered, {}, "Mail", Seconds{2.5}};
    const Dictation newer{uuid(2), at(2), "second", Outcome::notDelivered, "The window was closed.", {}, {}};
    ASSERT_TRUE(dictations.add(newer));
    ASSERT_TRUE(dictations.add(older));
    EXPECT_EQ(dictations.list({}), (Page<Dictation>{{newer, older}, 2}));
}

TEST(Dictations, a_pending_dictation_is_finished_once) {
    Database database = openInMemory();
    Dictations dictations{database};
    ASSERT_TRUE(dictations.add({uuid(1), at(2), "one", Outcome::pending, {}, {}, {}}));
    ASSERT_TRUE(dictations.add({uuid(2), at(1), "two", Outcome::pending, {}, {}, {}}));
    EXPECT_EQ(dictations.finish(uuid(1), std::nullopt), true);
    EXPECT_EQ(dictations.finish(uuid(2), "No window had the focus."), true);
    EXPECT_EQ(dictations.finish(uuid(2), std::nullopt), false);
    EXPECT_EQ(dictations.finish(uuid(99), std::nullopt), false);

    const auto page = dictations.list({});
    ASSERT_TRUE(page);
    EXPECT_EQ(page->entries[0].outcome, Outcome::delivered);
    EXPECT_EQ(page->entries[1].outcome, Outcome::notDelivered);
    EXPECT_EQ(page->entries[1].failureReason, "No window had the focus.");
}

TEST(Dictations, a_reason_without_a_failure_is_refused) {
    Database database = openInMemory();
    Dictations dictations{database};
    EXPECT_FALSE(dictations.add({uuid(1), at(0), "text", Outcome::delivered, "nonsense", {}, {}}));
}

TEST(Dictations, a_dictation_is_found_and_removed_by_its_id) {
    Database database = openInMemory();
    Dictations dictations{database};
    const Dictation one{uuid(1), at(1), "one", Outcome::pending, {}, {}, {}};
    const Dictation two{uuid(2), at(2), "two", Outcome::pending, {}, {}, {}};
    ASSERT_TRUE(dictations.add(one) && dictations.add(two));
    EXPECT_FALSE(dictations.add(one)) << "an id is unique";
    EXPECT_EQ(dictations.find(uuid(2)).value(), std::optional{two});
    EXPECT_EQ(dictations.find(uuid(3)).value(), std::nullopt);
    ASSERT_TRUE(dictations.remove(uuid(2)));
    EXPECT_EQ(dictations.list({}), (Page<Dictation>{{one}, 1}));
}

TEST(Dictations, outcomes_have_the_names_that_the_tools_use) {
    EXPECT_STREQ(name(Outcome::delivered), "delivered");
    EXPECT_STREQ(name(Outcome::notDelivered), "notDelivered");
    EXPECT_STREQ(name(Outcome::pending), "pending");
}

} // namespace vostel_companion
