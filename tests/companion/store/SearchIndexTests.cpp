#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/SearchIndex.h"
#include "companion/store/Transcripts.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"

namespace vostel_companion {

namespace {

using HitKind = SearchHit::Kind;
using IDs = std::vector<int>;

struct Searching : testing::Test {
    Database database = openInMemory();

    void dictate(std::uint8_t id, const std::string& text) {
        ASSERT_TRUE(
            Dictations{database}.add({uuid(id), at(id * 1000), text, Dictation::Outcome::delivered, {}, {}, {}}));
    }
    void transcribe(std::uint8_t id, const std::string& text) {
        ASSERT_TRUE(Transcripts{database}.add(
            uuid(id), {at(id * 1000), {TranscriptSource::Kind::file, "/a.wav"}, {}, {}, text, {{text, {}, {}}}}));
    }
    void record(std::uint8_t id, const std::string& mine, const std::string& theirs) {
        Recordings calls{database};
        ASSERT_TRUE(calls.begin(uuid(id), at(id * 1000)));
        ASSERT_EQ(calls.beginTranscribing(uuid(id), {}), true);
        ASSERT_EQ(calls.finish(uuid(id), "en",
                               {{RecordingLine::Track::microphone, "Me", mine, {}, {}},
                                {RecordingLine::Track::system, "Them", theirs, Seconds{1}, {}}}),
                  true);
    }
    /// The last byte of each id that is found.
    IDs found(const std::vector<std::string>& phrases, const Listing& listing = {}) {
        const auto page = SearchIndex{database}.find(phrases, listing);
        EXPECT_TRUE(page) << page.error().description();
        IDs ids;
        for (const SearchHit& hit : page.value_or(Page<SearchHit>{}).entries) ids.push_back(hit.id.bytes.back());
        return ids;
    }
    IDs foundFor(const std::string& phrase) { return found({phrase}); }
};

} // namespace

TEST_F(Searching, finds_every_kind_newest_first_with_an_excerpt) {
    transcribe(1, "one two three four five six seven eight nine ten eleven boat twelve");
    record(2, "the boat", "is late");
    dictate(3, "A boat.");
    dictate(4, "nothing");
    const std::string word = "boat";
    const auto page = SearchIndex{database}.find({&word, 1}, {});
    ASSERT_TRUE(page) << page.error().description();
    const TranscriptSource file{TranscriptSource::Kind::file, "/a.wav"};
    const SearchHit transcript{HitKind::transcript, uuid(1), at(1000), file,
                               "…four five six seven eight nine ten eleven boat twelve"};
    EXPECT_EQ(*page, (Page<SearchHit>{{{HitKind::dictation, uuid(3), at(3000), {}, "A boat."},
                                       {HitKind::recording, uuid(2), at(2000), {}, "the boat\nis late"},
                                       transcript},
                                      3}));
}

TEST_F(Searching, what_matches) {
    dictate(1, "Don't forget the Good Mornings in the café at 3.5 °C");
    dictate(2, "good weather, bad mornings");
    struct Row {
        const char* when;
        std::vector<std::string> phrases;
        IDs ids;
    };
    const Row rows[] = {
        {"another letter case", {"GOOD"}, {2, 1}},
        {"the beginning of a word", {"morn"}, {2, 1}},
        {"the end of a word", {"ornings"}, {}},
        {"without the accent", {"cafe"}, {1}},
        {"with another accent", {"càfé"}, {1}},
        {"words next to each other", {"good morning"}, {1}},
        {"words in another order", {"mornings good"}, {}},
        {"words anywhere", {"mornings", "good"}, {2, 1}},
        {"one word is missing", {"good", "boat"}, {}},
        {"an apostrophe", {"don't"}, {1}},
        {"another apostrophe", {"don’t"}, {1}},
        {"punctuation", {"(weather);"}, {2}},
        {"a number", {"3.5"}, {1}},
        {"a phrase without words is ignored", {"!", "weather", "--"}, {2}},
        {"only phrases without words", {"!", "\"", ""}, {}},
        {"no phrase", {}, {}},
        {"bytes that are not UTF-8", {"\xFF good"}, {2, 1}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(found(row.phrases), row.ids); });
}

TEST_F(Searching, nothing_in_a_phrase_is_an_operator) {
    dictate(1, "one");
    dictate(2, "two");
    struct Row {
        const char* when;
        const char* phrase;
    };
    const Row rows[] = {
        {"or", "one OR two"},
        {"or outside of our quotes", "one\" OR \"two"},
        {"not", "two NOT one"},
        {"near", "NEAR(one two)"},
        {"a column", "text : one two"},
        {"brackets", "{text} : (one two)"},
        {"the beginning", "^two one"},
        {"a star", "t* o*"},
        {"a plus", "two + one"},
        {"a minus", "- text : zero"},
        {"SQL", "one'; DROP TABLE dictations; --"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(foundFor(row.phrase), IDs{}); });
    EXPECT_EQ(foundFor("on*"), IDs{1}) << "the star is ignored, and the beginning of a word is enough";
}

TEST_F(Searching, any_text_is_a_valid_query) {
    dictate(1, "one two");
    const std::string alphabet = "\"'*^:+-(){}[],.\\ ;%_\n\x01\x80\xE2\x80oN";
    // Every pair of these characters, between words.
    for (const char first : alphabet) {
        for (const char second : alphabet) {
            const std::string phrase = std::string{"one"} + first + second + "two";
            const auto page = SearchIndex{database}.find({&phrase, 1}, {});
            ASSERT_TRUE(page) << phrase << ": " << page.error().description();
        }
    }
    std::string longPhrase;
    for (int count = 0; count < 2000; ++count) longPhrase += "one two ";
    EXPECT_EQ(foundFor(longPhrase), IDs{});
    EXPECT_EQ(found(std::vector<std::string>(2000, "one")), IDs{1});
}

TEST_F(Searching, a_call_is_found_once_it_is_ready) {
    Recordings calls{database};
    ASSERT_TRUE(calls.begin(uuid(1), at(0)));
    ASSERT_EQ(calls.beginTranscribing(uuid(1), {}), true);
    EXPECT_EQ(foundFor("hello"), IDs{});
    const std::vector<RecordingLine> lines{{RecordingLine::Track::system, "Them", "hello", {}, {}}};
    ASSERT_EQ(calls.finish(uuid(1), "en", lines), true);
    EXPECT_EQ(calls.finish(uuid(1), "en", lines), false) << "a second time";
    EXPECT_EQ(foundFor("hello"), IDs{1});
    EXPECT_EQ(foundFor("them"), IDs{}) << "nobody said the speaker's name";
}

TEST_F(Searching, a_removed_text_is_not_found_and_leaves_no_word_in_the_index) {
    transcribe(1, "secretword");
    record(2, "secretword", "x");
    dictate(3, "secretword");
    dictate(4, "secretword and kept");
    ASSERT_TRUE(Transcripts{database}.remove(uuid(1)));
    EXPECT_EQ(foundFor("secretword"), (IDs{4, 3, 2}));
    ASSERT_TRUE(Recordings{database}.remove(uuid(2)));
    ASSERT_TRUE(Dictations{database}.remove(uuid(3)));
    EXPECT_EQ(foundFor("secretword"), IDs{4});
    const auto blocksWithTheWord = [&] {
        Statement count{database, "SELECT count(*) FROM searchIndex_data WHERE instr(block, CAST(? AS BLOB)) > 0"};
        return count.bind("secretword").first([](const Statement& row) { return row.integer(0); }).value();
    };
    EXPECT_EQ(blocksWithTheWord(), 1);
    ASSERT_TRUE(Dictations{database}.remove(uuid(4)));
    EXPECT_EQ(blocksWithTheWord(), 0);
}

TEST_F(Searching, a_reused_row_number_has_the_new_text) {
    dictate(1, "old");
    ASSERT_TRUE(Dictations{database}.remove(uuid(1)));
    dictate(2, "new");
    EXPECT_EQ(foundFor("old"), IDs{});
    EXPECT_EQ(foundFor("new"), IDs{2});
}

TEST_F(Searching, the_newest_of_the_window_are_shown_and_all_are_counted) {
    for (std::uint8_t id = 1; id <= 5; ++id) dictate(id, "word");
    EXPECT_EQ(found({"word"}, {.limit = 2, .since = {}, .until = {}}), (IDs{5, 4}));
    EXPECT_EQ(found({"word"}, {.since = at(2000), .until = at(3000)}), (IDs{3, 2}));
    const std::string word = "word";
    const auto page = SearchIndex{database}.find({&word, 1}, {.limit = 2, .since = at(2000), .until = {}});
    EXPECT_EQ(page.value().totalCount, 4);
}

TEST_F(Searching, text_and_index_are_stored_together_or_not_at_all) {
    ASSERT_TRUE(database.execute("DROP TABLE searchIndex"));
    const std::string word = "word";
    EXPECT_FALSE(SearchIndex{database}.find({&word, 1}, {}));
    EXPECT_FALSE(Dictations{database}.add({uuid(1), at(0), "x", Dictation::Outcome::pending, {}, {}, {}}));
    EXPECT_EQ(Dictations{database}.list({}).value().totalCount, 0);
}

} // namespace vostel_companion
