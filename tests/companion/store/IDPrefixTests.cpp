#include "companion/store/IDPrefix.h"
#include "companion/store/Transcripts.h"
#include "tests/companion/store/StoreFixture.h"

#include <initializer_list>

namespace vostel_companion {

using VostelMCPKit::UUID;

TEST(IDPrefix, begins_an_ID_in_its_canonical_form) {
    struct Row {
        const char* text;
        bool begins;
    };
    const Row rows[] = {
        {"", false},
        {"0", true},
        {"3F2A9c1e", true},
        {"3f2a9c1e-", true},
        {"3f2a9c1e0", false},
        {"3f2a9c1e-0000-4000-8000-00000000000A", true},
        {"3f2a9c1e-0000-4000-8000-00000000000A0", false},
        {"3f2a9c1-", false},
        {"g", false},
        {"%", false},
        {"' OR 1", false},
        {"\x1B", false},
    };
    for (const Row& row : rows) EXPECT_EQ(isIDPrefix(row.text), row.begins) << row.text;
}

TEST(IDPrefix, finds_at_most_two_ids_that_begin_with_it) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    for (const std::uint8_t id : std::initializer_list<std::uint8_t>{0x1A, 0x1B, 0x2C}) {
        ASSERT_TRUE(transcripts.add(uuid(id), {at(0), {TranscriptSource::Kind::file, "/a"}, {}, {}, "", {}}));
    }
    const std::string start = "00000000-0000-0000-0000-0000000000";
    struct Row {
        std::string prefix;
        std::size_t count;
    };
    const Row rows[] = {{"0", 2}, {start + "1", 2}, {start + "1a", 1}, {start + "2C", 1}, {start + "3", 0}, {"1", 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.prefix);
        const auto found = idsBeginningWith(database, "transcripts", row.prefix);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->size(), row.count);
    }
    EXPECT_EQ(idsBeginningWith(database, "transcripts", start + "1b"), std::vector<UUID>{uuid(0x1B)});
    EXPECT_FALSE(idsBeginningWith(database, "no such table", "0"));
}

} // namespace vostel_companion
