#include "companion/commands/SearchVerb.h"
#include "companion/store/Dictations.h"
#include "companion/store/Transcripts.h"
#include "tests/companion/commands/VerbFixture.h"

#include <cstdlib>
#include <ctime>

namespace vostel_companion {

namespace {

struct SearchVerb : testing::Test, VerbFixture {
    SearchVerb() {
        // The list shows times in the user's time zone.
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
    void dictate(std::uint8_t id, const std::string& text) {
        ASSERT_TRUE(Dictations{database}.add({uuid(id), at(0), text, Dictation::Outcome::delivered, {}, {}, {}}));
    }
};

} // namespace

TEST_F(SearchVerb, prints_where_the_words_are_and_how_to_read_them) {
    ASSERT_TRUE(Transcripts{database}.add(
        uuid(1), {at(60'000), {TranscriptSource::Kind::file, "/home/me/talk.m4a"}, {}, {}, "the boat is late", {}}));
    EXPECT_EQ(run(Command::Search{{"boat"}, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), uuid(1).text() + "  1970-01-01 00:01  talk.m4a: the boat is late\n");
    EXPECT_EQ(takeErrors(), "To read one, run Vostel transcripts ID.\n");

    dictate(2, "a boat " + hostile);
    EXPECT_EQ(run(Command::Search{{"boat"}, 1, {}, {}}, context), Exit::done);
    takePrinted();
    EXPECT_EQ(takeErrors(), "1 more are not listed; narrow the search with more words, --since or --until, or raise "
                            "--limit.\nTo read one, run Vostel transcripts ID.\n");
    EXPECT_EQ(run(Command::Search{{"a boat"}, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), uuid(2).text() + "  1970-01-01 00:00  dictation: a boat " + harmless + "\n");
    EXPECT_EQ(takeErrors(), "To read one, run Vostel transcripts ID, or Vostel dictations ID for a dictation.\n");
}

TEST_F(SearchVerb, a_very_long_word_makes_a_short_line) {
    dictate(1, std::string(100'000, 'x'));
    EXPECT_EQ(run(Command::Search{{"xxx"}, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), uuid(1).text() + "  1970-01-01 00:00  dictation: " + std::string(120, 'x') + "…\n");
}

TEST_F(SearchVerb, says_when_nothing_was_found) {
    EXPECT_EQ(run(Command::Search{{"boat"}, {}, {}, {}}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "Nothing was found.\n");
    EXPECT_EQ(run(Command::Search{{"\"", "*"}, {}, {}, {}}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "Please give a word with letters or digits to search for.\n");
    EXPECT_EQ(run(Command::Search{{"boat"}, 0, {}, {}}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "The limit must be at least 1.\n");
    EXPECT_EQ(takePrinted(), "");
}

} // namespace vostel_companion
