// The verbs that list, print and delete stored texts.
#include "companion/commands/HistoryVerbs.h"
#include "companion/commands/ListLine.h"
#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcription/RecognitionCache.h"
#include "tests/companion/commands/VerbFixture.h"

#include <cstdlib>
#include <ctime>

namespace vostel_companion {

using Format = Command::Show::Format;
using Kind = Command::Kind;

namespace {

struct HistoryVerbs : testing::Test, VerbFixture {
    HistoryVerbs() {
        // The list shows times in the user's time zone.
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
    void add(std::uint8_t id, std::int64_t seconds, const TranscriptSource& source, const std::string& text) {
        ASSERT_TRUE(Transcripts{database}.add(uuid(id), {at(seconds * 1000), source, Seconds{83.4}, "en", text, {}}));
    }
    void dictate(std::uint8_t id, std::int64_t seconds, const std::string& text,
                 Dictation::Outcome outcome = Dictation::Outcome::delivered,
                 const std::optional<std::string>& application = std::nullopt) {
        ASSERT_TRUE(Dictations{database}.add({uuid(id), at(seconds * 1000), text, outcome, {}, application, {}}));
    }
    void record(std::uint8_t id, std::int64_t seconds) {
        ASSERT_TRUE(Recordings{database}.begin(uuid(id), at(seconds * 1000)));
    }
};

std::string idText(std::uint8_t number) { return uuid(number).text(); }

} // namespace

TEST_F(HistoryVerbs, list_files_links_and_calls_newest_first) {
    add(1, 1000, {TranscriptSource::Kind::file, "/home/me/talk.m4a"}, "First words");
    add(2, 3000, {TranscriptSource::Kind::link, "https://youtu.be/x"}, "Second words");
    Recordings calls{database};
    ASSERT_TRUE(calls.begin(uuid(3), at(2'000'000)));
    ASSERT_TRUE(calls.beginTranscribing(uuid(3), Seconds{3700}));
    ASSERT_TRUE(calls.finish(uuid(3), "en", {{RecordingLine::Track::system, "Them", "hello", {}, {}}}));
    EXPECT_EQ(run(Command::List{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-01 00:50  1:23  https://youtu.be/x: Second words\n" + idText(3) +
                                 "  1970-01-01 00:33  1:01:40  call: Them: hello\n" + idText(1) +
                                 "  1970-01-01 00:16  1:23  talk.m4a: First words\n");
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(HistoryVerbs, the_limit_counts_both_kinds_together) {
    for (std::uint8_t id = 1; id <= 3; ++id) add(id, id * 10, {TranscriptSource::Kind::file, "/a"}, "w");
    ASSERT_TRUE(Recordings{database}.begin(uuid(9), at(25'000)));
    EXPECT_EQ(run(Command::List{Kind::transcript, 2, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(3) + "  1970-01-01 00:00  1:23  a: w\n" + idText(9) +
                                 "  1970-01-01 00:00  -  call, still being recorded\n");
    EXPECT_EQ(takeErrors(), "2 more are not listed; narrow the list with --since and --until, or raise --limit.\n");
}

TEST_F(HistoryVerbs, since_and_until_mean_the_same_as_for_the_tools) {
    for (std::uint8_t id = 1; id <= 3; ++id) add(id, id * 86'400, {TranscriptSource::Kind::file, "/a"}, "w");
    EXPECT_EQ(run(Command::List{Kind::transcript, {}, "1970-01-03", "1970-01-03T12:00:00Z"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-03 00:00  1:23  a: w\n");
    EXPECT_EQ(run(Command::List{Kind::transcript, {}, "yesterday", {}}, context), Exit::failed);
    EXPECT_NE(takeErrors(), "");
    EXPECT_EQ(run(Command::List{Kind::transcript, {}, "1971-01-01", {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "There are no transcripts, or none in this period.\n");
}

TEST_F(HistoryVerbs, list_lines_are_short_and_have_no_control_characters) {
    add(1, 0, {TranscriptSource::Kind::file, "/a/" + hostile + ".wav"}, hostile + "\n" + std::string(200, 'x'));
    EXPECT_EQ(run(Command::List{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(1) + "  1970-01-01 00:00  1:23  " + harmless + ".wav: " + harmless + " " +
                                 std::string(60 - 14, 'x') + "…\n");
}

TEST_F(HistoryVerbs, print_a_transcript_with_the_times_of_its_words) {
    ASSERT_TRUE(Transcripts{database}.add(uuid(1), {at(0),
                                                    {TranscriptSource::Kind::file, "/a"},
                                                    Seconds{3},
                                                    "en",
                                                    "hello there " + hostile,
                                                    {{"hello", Seconds{0.5}, Seconds{1}},
                                                     {"there", Seconds{1}, Seconds{1.25}},
                                                     {hostile, Seconds{3}, Seconds{4}}}}));
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(1), Format::srt}, context), Exit::done);
    EXPECT_EQ(
        takePrinted(),
        "1\n00:00:00,500 --> 00:00:01,250\nhello there\n\n2\n00:00:03,000 --> 00:00:04,000\na\xEF\xBF\xBD[31mb c" +
            harmless.substr(harmless.find('c') + 1) + "\n");
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(1), Format::json}, context), Exit::done);
    EXPECT_TRUE(takePrinted().starts_with(R"({"segments":[{"endTime":1,"startTime":0.5,"text":"hello"},)"));
}

TEST_F(HistoryVerbs, print_one_transcript_whole) {
    add(1, 0, {TranscriptSource::Kind::file, "/a"}, "line one\nline two " + hostile);
    Recordings calls{database};
    ASSERT_TRUE(calls.begin(uuid(3), at(0)));
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(1)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "line one\nline two " + harmless + "\n");

    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(3)}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "This call has no transcript: still being recorded\n");
    ASSERT_TRUE(calls.beginTranscribing(uuid(3), Seconds{1}));
    ASSERT_TRUE(calls.finish(uuid(3), "en",
                             {{RecordingLine::Track::microphone, "Me", "hi", {}, {}},
                              {RecordingLine::Track::system, "Them", "ho", {}, {}}}));
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(3)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Me: hi\nThem: ho\n");

    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(3), Format::vtt}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "WEBVTT\n\n00:00:00.000 --> 00:00:00.000\nMe: hi\n\n"
                             "00:00:00.000 --> 00:00:00.000\nThem: ho\n");
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(3), Format::json}, context), Exit::done);
    EXPECT_EQ(takePrinted(), R"({"lines":[{"endTime":0,"speaker":"Me","startTime":0,"text":"hi","track":"microphone"},)"
                             R"({"endTime":0,"speaker":"Them","startTime":0,"text":"ho","track":"system"}],)"
                             R"("text":"Me: hi\nThem: ho"})"
                             "\n");

    EXPECT_EQ(run(Command::Show{Kind::transcript, "F"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "No transcript has an id that begins with F.\n");
    EXPECT_EQ(run(Command::Show{Kind::transcript, "0"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(),
              "More than one transcript has an id that begins with 0; please give more characters of the id.\n");
}

TEST_F(HistoryVerbs, delete_everything_that_belongs_to_a_transcript) {
    const Paths& paths = context.paths;
    const RecognitionCache cache{paths.recognised(), paths.downloads()};
    for (const std::uint8_t number : {std::uint8_t{1}, std::uint8_t{2}}) {
        const std::string path = "/home/me/" + std::to_string(number) + ".wav";
        add(number, 0, {TranscriptSource::Kind::file, path}, "words");
        // The beginnings of the ids are equal, and so are the ends of the names of their text files.
        RecognitionCache::Recording{cache.folder(), std::to_string(number), path}.add({}, {});
    }
    Recordings calls{database};
    VostelMCPKit::UUID other = uuid(3);
    other.bytes.front() = 0x3F;
    ASSERT_TRUE(calls.begin(other, at(0)));
    const auto text = saveTranscriptFile(paths.transcripts(), transcriptFileName(at(0), "recording", other), "words");
    const auto kept = saveTranscriptFile(paths.transcripts(), transcriptFileName(at(0), "1.wav", uuid(1)), "words");
    ASSERT_TRUE(text && kept);

    EXPECT_EQ(run(Command::Delete{Kind::transcript, "3F"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Deleted " + other.text() + ".\n");
    EXPECT_FALSE(std::filesystem::exists(*text));
    EXPECT_TRUE(std::filesystem::exists(*kept));
    EXPECT_EQ(calls.find(other).value(), std::nullopt);

    EXPECT_EQ(run(Command::Delete{Kind::transcript, idText(1)}, context), Exit::done);
    EXPECT_FALSE(std::filesystem::exists(*kept));
    EXPECT_EQ(Transcripts{database}.find(uuid(1)).value(), std::nullopt);
    EXPECT_TRUE(Transcripts{database}.find(uuid(2)).value());
    EXPECT_FALSE(std::filesystem::exists(cache.folder() / "1.words"));
    EXPECT_TRUE(std::filesystem::exists(cache.folder() / "2.words"));
    takePrinted();

    EXPECT_EQ(run(Command::Delete{Kind::transcript, idText(1)}, context), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(HistoryVerbs, list_print_and_delete_only_recorded_calls) {
    add(1, 10, {TranscriptSource::Kind::file, "/a"}, "words");
    record(2, 20);
    EXPECT_EQ(run(Command::List{Kind::recording, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-01 00:00  -  call, still being recorded\n");
    EXPECT_EQ(run(Command::Show{Kind::recording, idText(1)}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "No recording has an id that begins with " + idText(1) + ".\n");
    EXPECT_EQ(run(Command::Delete{Kind::recording, idText(1)}, context), Exit::refused);
    EXPECT_TRUE(Transcripts{database}.find(uuid(1)).value());
    EXPECT_EQ(run(Command::Delete{Kind::recording, idText(2)}, context), Exit::done);
    EXPECT_FALSE(Recordings{database}.find(uuid(2)).value());
}

TEST_F(HistoryVerbs, list_print_and_delete_dictations) {
    EXPECT_EQ(run(Command::List{Kind::dictation, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takeErrors(), "There are no dictations, or none in this period.\n");
    dictate(1, 10, "first words " + hostile);
    dictate(2, 20, "line one\nline two", Dictation::Outcome::notDelivered, "Mail");
    EXPECT_EQ(run(Command::List{Kind::dictation, {}, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-01 00:00  -  for Mail: not delivered: line one line two\n" +
                                 idText(1) + "  1970-01-01 00:00  -  first words " + harmless + "\n");
    EXPECT_EQ(run(Command::List{Kind::dictation, 1, {}, {}}, context), Exit::done);
    takePrinted();
    EXPECT_EQ(takeErrors(), "1 more are not listed; narrow the list with --since and --until, or raise --limit.\n");

    EXPECT_EQ(run(Command::Show{Kind::dictation, idText(2)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "line one\nline two\n");
    EXPECT_EQ(run(Command::Show{Kind::transcript, idText(2)}, context), Exit::refused) << "it is not a transcript";
    EXPECT_EQ(run(Command::Delete{Kind::transcript, idText(2)}, context), Exit::refused);
    EXPECT_EQ(run(Command::Delete{Kind::dictation, idText(2)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Deleted " + idText(2) + ".\n");
    EXPECT_EQ(Dictations{database}.find(uuid(2)).value(), std::nullopt);
    EXPECT_TRUE(Dictations{database}.find(uuid(1)).value());
}

TEST_F(HistoryVerbs, a_transcript_without_words_is_valid_in_every_format) {
    ASSERT_TRUE(Transcripts{database}.add(uuid(1), {at(0), {TranscriptSource::Kind::file, "/a"}, {}, {}, "", {}}));
    struct Row {
        Command::Show::Format format;
        const char* printed;
    };
    const Row rows[] = {
        {Command::Show::Format::text, ""},
        {Command::Show::Format::srt, ""},
        {Command::Show::Format::vtt, "WEBVTT\n"},
        {Command::Show::Format::json, "{\"segments\":[],\"text\":\"\"}\n"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(run(Command::Show{Kind::transcript, idText(1), row.format}, context), Exit::done);
        EXPECT_EQ(takePrinted(), row.printed);
        EXPECT_EQ(takeErrors(), "No speech was found in this transcript's recording.\n");
    }
}

TEST_F(HistoryVerbs, lines_fit_the_terminal) {
    dictate(1, 0, "äöü " + std::string(100, 'x'));
    struct Row {
        std::size_t columns;
        std::string line;
    };
    const Row rows[] = {
        {80, "00000000  1970-01-01 00:00  -  äöü " + std::string(44, 'x') + "…\n"},
        {200, "00000000  1970-01-01 00:00  -  äöü " + std::string(56, 'x') + "…\n"},
        {10, "00000000  1970-01-01 00:00  -  äöü " + std::string(14, 'x') + "…\n"},
    };
    for (const Row& row : rows) {
        context.columns = row.columns;
        EXPECT_EQ(run(Command::List{Kind::dictation, {}, {}, {}}, context), Exit::done);
        EXPECT_EQ(takePrinted(), row.line);
    }
}

} // namespace vostel_companion
