#include "companion/store/Settings.h"
#include "tests/companion/store/StoreFixture.h"

namespace vostel_companion {

TEST(Settings, reading_is_off_until_the_user_turns_it_on) {
    Database database = openInMemory();
    EXPECT_EQ(loadSettings(database), Settings{.isReadingAllowed = false});
}

TEST(Settings, the_choice_of_the_user_is_stored) {
    const StoreFolder folder;
    for (const bool choice : {true, false}) {
        {
            auto database = openStore(folder / "store.sqlite");
            ASSERT_TRUE(database);
            ASSERT_TRUE(saveSettings(*database, {.isReadingAllowed = choice}));
        }
        auto database = openStore(folder / "store.sqlite");
        ASSERT_TRUE(database);
        EXPECT_EQ(loadSettings(*database), Settings{.isReadingAllowed = choice});
    }
}

} // namespace vostel_companion
