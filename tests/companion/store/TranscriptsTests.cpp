#include "companion/store/Transcripts.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"

namespace vostel_companion {

namespace {

using Kind = TranscriptSource::Kind;

Transcripts::New talk(Timestamp date, std::string text) {
    return {date, {Kind::file, "/home/robin/talk.ogg"}, Seconds{12.5}, "en", std::move(text), {}};
}

} // namespace

TEST(Transcripts, a_stored_transcript_is_found_completely) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    const Transcripts::New given{
        at(1'000),      {Kind::link, "https://youtu.be/x"},
        Seconds{3.25},  "en",
        "good morning", {{"good", Seconds{0.5}, Seconds{0.75}}, {"morning", Seconds{0.75}, Seconds{1.5}}}};
    ASSERT_TRUE(transcripts.add(uuid(1), given));
    const auto found = transcripts.find(uuid(1));
    const StoredTranscript expected{
        {uuid(1), at(1'000), given.source, Seconds{3.25}, "en", 12, "good morning"}, "good morning", given.segments};
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, expected);
}

TEST(Transcripts, unknown_values_stay_absent) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    ASSERT_TRUE(transcripts.add(uuid(1), {at(0), {}, {}, {}, "", {}}));
    const auto found = transcripts.find(uuid(1));
    ASSERT_TRUE(found && *found);
    EXPECT_EQ((*found)->summary.duration, std::nullopt);
    EXPECT_EQ((*found)->summary.language, std::nullopt);
    EXPECT_EQ((*found)->summary.characterCount, 0);
}

TEST(Transcripts, an_unknown_id_is_not_found) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    const auto found = transcripts.find(uuid(9));
    ASSERT_TRUE(found);
    EXPECT_FALSE(*found);
}

TEST(Transcripts, an_id_is_stored_once) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    ASSERT_TRUE(transcripts.add(uuid(1), talk(at(1), "first")));
    EXPECT_FALSE(transcripts.add(uuid(1), talk(at(2), "second")));
    EXPECT_EQ((*transcripts.find(uuid(1)))->text, "first");
}

TEST(Transcripts, the_newest_come_first_and_of_the_same_time_the_last_added) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    ASSERT_TRUE(transcripts.add(uuid(1), talk(at(2'000), "b")));
    ASSERT_TRUE(transcripts.add(uuid(2), talk(at(3'000), "c")));
    ASSERT_TRUE(transcripts.add(uuid(3), talk(at(1'000), "a")));
    ASSERT_TRUE(transcripts.add(uuid(4), talk(at(2'000), "b again")));
    const auto page = transcripts.list({});
    ASSERT_TRUE(page);
    std::vector<VostelMCPKit::UUID> ids;
    for (const TranscriptSummary& entry : page->entries) ids.push_back(entry.id);
    EXPECT_EQ(ids, (std::vector{uuid(2), uuid(4), uuid(1), uuid(3)}));
}

TEST(Transcripts, both_ends_belong_to_the_period_and_the_limit_leaves_out_the_oldest) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    for (std::uint8_t number = 1; number <= 9; ++number) {
        ASSERT_TRUE(transcripts.add(uuid(number), talk(at(number * 100), "text")));
    }
    struct Row {
        const char* when;
        Listing listing;
        std::vector<int> newestFirst;
        std::int64_t total;
    };
    const Row rows[] = {
        {"everything", {50, {}, {}}, {9, 8, 7, 6, 5, 4, 3, 2, 1}, 9},
        {"since", {50, at(700), {}}, {9, 8, 7}, 3},
        {"until", {50, {}, at(300)}, {3, 2, 1}, 3},
        {"both", {50, at(300), at(500)}, {5, 4, 3}, 3},
        {"both and a limit", {2, at(300), at(500)}, {5, 4}, 3},
        {"a single point in time", {50, at(300), at(300)}, {3}, 1},
        {"between two entries", {50, at(301), at(399)}, {}, 0},
        {"ends in the wrong order", {50, at(500), at(300)}, {}, 0},
        {"a limit of one", {1, {}, {}}, {9}, 9},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto page = transcripts.list(row.listing);
        ASSERT_TRUE(page);
        std::vector<int> numbers;
        for (const TranscriptSummary& entry : page->entries) numbers.push_back(entry.id.bytes.back());
        EXPECT_EQ(numbers, row.newestFirst);
        EXPECT_EQ(page->totalCount, row.total);
    });
}

TEST(Transcripts, a_preview_has_the_first_characters_and_cuts_none_of_them) {
    // A family of four is one character of 25 bytes.
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466";
    std::string text;
    for (int count = 0; count < 300; ++count) text += family;
    Database database = openInMemory();
    Transcripts transcripts{database};
    ASSERT_TRUE(transcripts.add(uuid(1), talk(at(0), text)));
    const auto page = transcripts.list({});
    ASSERT_TRUE(page);
    EXPECT_EQ(page->entries.front().characterCount, 300);
    EXPECT_EQ(page->entries.front().preview, text.substr(0, 200 * family.size()));
    EXPECT_EQ((*transcripts.find(uuid(1)))->text, text);
}

TEST(Transcripts, bytes_that_are_not_UTF8_are_replaced) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    Transcripts::New given = talk(at(0), "a\xFF"
                                         "b");
    given.source.value = "/tmp/\xC3.ogg";
    given.segments = {{"\x80", Seconds{0}, Seconds{1}}};
    ASSERT_TRUE(transcripts.add(uuid(1), given));
    const auto found = transcripts.find(uuid(1));
    ASSERT_TRUE(found && *found);
    EXPECT_EQ((*found)->text, "a\uFFFDb");
    EXPECT_EQ((*found)->summary.source.value, "/tmp/\uFFFD.ogg");
    EXPECT_EQ((*found)->segments.front().text, "\uFFFD");
}

TEST(Transcripts, a_text_that_looks_like_SQL_is_only_text) {
    Database database = openInMemory();
    Transcripts transcripts{database};
    const std::string text = "'); DROP TABLE transcripts; --";
    ASSERT_TRUE(transcripts.add(uuid(1), talk(at(0), text)));
    EXPECT_EQ((*transcripts.find(uuid(1)))->text, text);
}

} // namespace vostel_companion
