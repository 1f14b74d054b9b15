// The verbs that transcribe, and the one that shows transcripts.
#include "companion/commands/DictateVerb.h"
#include "companion/commands/RecordVerb.h"
#include "companion/commands/TranscriptVerbs.h"
#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcription/RecognitionCache.h"
#include "posix/FileLock.h"
#include "tests/companion/commands/VerbFixture.h"

#include <cstdlib>
#include <ctime>

namespace vostel_companion {

namespace {

struct TranscribingVerbs : testing::Test, VerbFixture {
    void teach(const std::string& word, const std::string& replacement) {
        const VocabularyRule rule{word, replacement};
        ASSERT_TRUE(Vocabulary{database}.add({&rule, 1}));
    }
};
struct DictateVerb : TranscribingVerbs {
    std::vector<Dictation> history() { return Dictations{database}.list({}).value().entries; }
};
struct RecordVerb : TranscribingVerbs {
    RecordVerb() {
        recordings["/home/me/me.wav"] = spokenWords({{0, "good"}, {0.5, "mourning"}, {9, "fine"}}, 10);
        recordings["/home/me/them.wav"] = spokenWords({{3, "hello"}}, 30);
    }
    RecordingSummary summary() {
        const auto found = Recordings{database}.find(uuid(1)).value();
        return found ? found->summary : RecordingSummary{};
    }
    std::int64_t count() { return Recordings{database}.list({}).value().totalCount; }
    Exit record() { return run(Command::Record{"me.wav", "them.wav", ""}, context); }
};
struct TranscriptVerbs : TranscribingVerbs {
    TranscriptVerbs() {
        // The list shows times in the user's time zone.
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
    void add(std::uint8_t id, std::int64_t seconds, const TranscriptSource& source, const std::string& text) {
        ASSERT_TRUE(Transcripts{database}.add(uuid(id), {at(seconds * 1000), source, Seconds{83.4}, "en", text, {}}));
    }
};

std::string idText(std::uint8_t number) { return uuid(number).text(); }

} // namespace

TEST_F(DictateVerb, prints_the_text_and_adds_it_to_the_history) {
    recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}, {1, "world"}}, 2.5);
    teach("world", "World");
    EXPECT_EQ(run(Command::Dictate{"a.wav", "en"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "hello World\n");
    EXPECT_EQ(takeTold(), "");
    EXPECT_EQ(languages, std::vector<std::string>{"en"});
    EXPECT_EQ(history(), (std::vector{Dictation{at(1'000'000'000'000), "hello World", Dictation::Outcome::delivered,
                                                std::nullopt, std::nullopt, Seconds{2.5}}}));
}

TEST_F(DictateVerb, an_absolute_path_stays_as_it_is) {
    recordings["/else/a.wav"] = spokenWords({{0, "hello"}}, 1);
    EXPECT_EQ(run(Command::Dictate{"/else/a.wav", ""}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "hello\n");
}

TEST_F(DictateVerb, text_that_could_not_be_printed_was_not_delivered) {
    recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}}, 1);
    canPrint = false;
    EXPECT_EQ(run(Command::Dictate{"a.wav", ""}, context), Exit::failed);
    ASSERT_EQ(history().size(), 1U);
    EXPECT_EQ(history().front().outcome, Dictation::Outcome::notDelivered);
    EXPECT_EQ(history().front().failureReason, "The text could not be printed.");
}

TEST_F(DictateVerb, a_file_without_usable_speech_leaves_the_history_alone) {
    EXPECT_EQ(run(Command::Dictate{"a.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeTold(), "There is no file at '/home/me/a.wav'.\n");

    recordings["/home/me/silence.wav"] = spokenWords({}, 1);
    EXPECT_EQ(run(Command::Dictate{"silence.wav", ""}, context), Exit::refused);
    EXPECT_EQ(takeTold(), "No speech was recognised in '/home/me/silence.wav'.\n");

    duringTranscription = [&] { cancellation.cancel(); };
    EXPECT_EQ(run(Command::Dictate{"silence.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeTold(), "The transcription was cancelled.\n");
    EXPECT_EQ(takePrinted(), "");
    EXPECT_TRUE(history().empty());
}

TEST_F(DictateVerb, a_replacement_cannot_draw_on_the_terminal_and_is_kept_as_it_is) {
    recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}}, 1);
    teach("hello", "x\x1B[2Jy");
    EXPECT_EQ(run(Command::Dictate{"a.wav", ""}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "x\xEF\xBF\xBD[2Jy\n");
    EXPECT_EQ(history().front().text, "x\x1B[2Jy");
}

TEST_F(RecordVerb, makes_one_call_of_two_tracks) {
    teach("mourning", "morning");
    EXPECT_EQ(record(), Exit::done);
    EXPECT_EQ(takePrinted(), "Me: good morning\nThem: hello\nMe: fine\n");
    EXPECT_EQ(takeTold(), "");
    const auto stored = Recordings{database}.find(uuid(1)).value();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->summary,
              (RecordingSummary{uuid(1), at(1'000'000'000'000), Seconds{30}, RecordingSummary::State::ready,
                                std::nullopt, std::nullopt, "en", 3, "Me: good morning\nThem: hello\nMe: fine"}));
    EXPECT_EQ(stored->lines[0],
              (RecordingLine{RecordingLine::Track::microphone, "Me", "good morning", Seconds{0}, Seconds{1}}));
    EXPECT_FALSE(std::filesystem::exists(context.paths.lockOfRecording(uuid(1)))) << "the recording is finished";
}

TEST_F(RecordVerb, other_processes_see_its_progress_and_that_it_is_alive) {
    std::vector<std::optional<double>> progress;
    duringTranscription = [&] {
        EXPECT_EQ(summary().state, RecordingSummary::State::transcribing);
        EXPECT_EQ(summary().duration, Seconds{30});
        EXPECT_TRUE(posix::FileLock::isHeld(context.paths.lockOfRecording(uuid(1))));
        progress.push_back(summary().progress);
    };
    EXPECT_EQ(record(), Exit::done);
    // The microphone has a quarter of the sound. The progress is read in the middle of each track.
    EXPECT_EQ(progress, (std::vector<std::optional<double>>{0.125, 0.625}));
}

TEST_F(RecordVerb, files_that_cannot_be_read_leave_no_trace) {
    EXPECT_EQ(run(Command::Record{"nobody.wav", "them.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeTold(), "There is no file at '/home/me/nobody.wav'.\n");
    EXPECT_EQ(run(Command::Record{"me.wav", "nobody.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeTold(), "There is no file at '/home/me/nobody.wav'.\n");
    EXPECT_EQ(run(Command::Record{"me.wav", "them.wav", "gibberish!"}, context), Exit::failed);
    EXPECT_EQ(takeTold(),
              "The language 'gibberish!' is unknown; pass an ISO 639-1 code such as 'en', or leave it out.\n");
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(languages.empty()) << "nothing was transcribed";
}

TEST_F(RecordVerb, an_interrupted_recording_is_stored_as_failed) {
    duringTranscription = [&] { cancellation.cancel(); };
    EXPECT_EQ(record(), Exit::failed);
    EXPECT_EQ(takeTold(), "The transcription was cancelled.\n");
    EXPECT_EQ(summary().state, RecordingSummary::State::failed);
    EXPECT_EQ(summary().failureReason, "The transcription was cancelled.");
    EXPECT_FALSE(std::filesystem::exists(context.paths.lockOfRecording(uuid(1))));
}

TEST_F(RecordVerb, a_file_that_vanishes_meanwhile_fails_the_recording) {
    duringTranscription = [&] { recordings.erase("/home/me/them.wav"); };
    EXPECT_EQ(record(), Exit::failed);
    EXPECT_EQ(summary().failureReason, "There is no file at '/home/me/them.wav'.");
}

TEST_F(RecordVerb, a_call_in_which_nobody_speaks_is_ready_and_empty) {
    recordings["/home/me/me.wav"] = recordings["/home/me/them.wav"] = spokenWords({}, 0);
    EXPECT_EQ(record(), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeTold(), "No speech was recognised.\n");
    EXPECT_EQ(summary().state, RecordingSummary::State::ready);
    EXPECT_EQ(summary().lineCount, 0);
}

TEST_F(TranscriptVerbs, list_files_links_and_calls_newest_first) {
    add(1, 1000, {TranscriptSource::Kind::file, "/home/me/talk.m4a"}, "First words");
    add(2, 3000, {TranscriptSource::Kind::link, "https://youtu.be/x"}, "Second words");
    Recordings calls{database};
    ASSERT_TRUE(calls.begin(uuid(3), at(2'000'000)));
    ASSERT_TRUE(calls.beginTranscribing(uuid(3), Seconds{3700}));
    ASSERT_TRUE(calls.finish(uuid(3), "en", {{RecordingLine::Track::system, "Them", "hello", {}, {}}}));
    EXPECT_EQ(run(Command::ListTranscripts{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-01 00:50  1:23  https://youtu.be/x: Second words\n" + idText(3) +
                                 "  1970-01-01 00:33  1:01:40  call: Them: hello\n" + idText(1) +
                                 "  1970-01-01 00:16  1:23  talk.m4a: First words\n");
    EXPECT_EQ(takeTold(), "");
}

TEST_F(TranscriptVerbs, the_limit_counts_both_kinds_together) {
    for (std::uint8_t id = 1; id <= 3; ++id) add(id, id * 10, {TranscriptSource::Kind::file, "/a"}, "w");
    ASSERT_TRUE(Recordings{database}.begin(uuid(9), at(25'000)));
    EXPECT_EQ(run(Command::ListTranscripts{2, {}, {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(3) + "  1970-01-01 00:00  1:23  a: w\n" + idText(9) +
                                 "  1970-01-01 00:00  -  call, still being recorded\n");
    EXPECT_EQ(takeTold(), "2 more are not listed; narrow the list with --since and --until, or raise --limit.\n");
}

TEST_F(TranscriptVerbs, a_window_of_time_means_the_same_as_for_the_tools) {
    for (std::uint8_t id = 1; id <= 3; ++id) add(id, id * 86'400, {TranscriptSource::Kind::file, "/a"}, "w");
    EXPECT_EQ(run(Command::ListTranscripts{{}, "1970-01-03", "1970-01-03T12:00:00Z"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(2) + "  1970-01-03 00:00  1:23  a: w\n");
    EXPECT_EQ(run(Command::ListTranscripts{{}, "yesterday", {}}, context), Exit::failed);
    EXPECT_NE(takeTold(), "");
    EXPECT_EQ(run(Command::ListTranscripts{{}, "1971-01-01", {}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeTold(), "There are no transcripts, or none in this period.\n");
}

TEST_F(TranscriptVerbs, list_lines_stay_short_and_harmless) {
    add(1, 0, {TranscriptSource::Kind::file, "/a/" + hostile + ".wav"}, hostile + "\n" + std::string(200, 'x'));
    EXPECT_EQ(run(Command::ListTranscripts{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), idText(1) + "  1970-01-01 00:00  1:23  " + harmless + ".wav: " + harmless + " " +
                                 std::string(60 - 14, 'x') + "…\n");
}

TEST_F(TranscriptVerbs, print_a_transcript_with_the_times_of_its_words) {
    ASSERT_TRUE(Transcripts{database}.add(uuid(1), {at(0),
                                                    {TranscriptSource::Kind::file, "/a"},
                                                    Seconds{3},
                                                    "en",
                                                    "hello there " + hostile,
                                                    {{"hello", Seconds{0.5}, Seconds{1}},
                                                     {"there", Seconds{1}, Seconds{1.25}},
                                                     {hostile, Seconds{3}, Seconds{4}}}}));
    using Format = Command::ShowTranscript::Format;
    EXPECT_EQ(run(Command::ShowTranscript{idText(1), Format::srt}, context), Exit::done);
    EXPECT_EQ(
        takePrinted(),
        "1\n00:00:00,500 --> 00:00:01,250\nhello there\n\n2\n00:00:03,000 --> 00:00:04,000\na\xEF\xBF\xBD[31mb c" +
            harmless.substr(harmless.find('c') + 1) + "\n");
    EXPECT_EQ(run(Command::ShowTranscript{idText(1), Format::json}, context), Exit::done);
    EXPECT_TRUE(takePrinted().starts_with(R"({"segments":[{"endTime":1,"startTime":0.5,"text":"hello"},)"));
}

TEST_F(TranscriptVerbs, print_one_transcript_whole) {
    add(1, 0, {TranscriptSource::Kind::file, "/a"}, "line one\nline two " + hostile);
    Recordings calls{database};
    ASSERT_TRUE(calls.begin(uuid(3), at(0)));
    EXPECT_EQ(run(Command::ShowTranscript{idText(1)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "line one\nline two " + harmless + "\n");

    EXPECT_EQ(run(Command::ShowTranscript{idText(3)}, context), Exit::refused);
    EXPECT_EQ(takeTold(), "This call has no transcript: still being recorded\n");
    ASSERT_TRUE(calls.beginTranscribing(uuid(3), Seconds{1}));
    ASSERT_TRUE(calls.finish(uuid(3), "en",
                             {{RecordingLine::Track::microphone, "Me", "hi", {}, {}},
                              {RecordingLine::Track::system, "Them", "ho", {}, {}}}));
    EXPECT_EQ(run(Command::ShowTranscript{idText(3)}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Me: hi\nThem: ho\n");

    using Format = Command::ShowTranscript::Format;
    EXPECT_EQ(run(Command::ShowTranscript{idText(3), Format::vtt}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "WEBVTT\n\n00:00:00.000 --> 00:00:00.000\nMe: hi\n\n"
                             "00:00:00.000 --> 00:00:00.000\nThem: ho\n");
    EXPECT_EQ(run(Command::ShowTranscript{idText(3), Format::json}, context), Exit::done);
    EXPECT_EQ(takePrinted(), R"({"lines":[{"endTime":0,"speaker":"Me","startTime":0,"text":"hi","track":"microphone"},)"
                             R"({"endTime":0,"speaker":"Them","startTime":0,"text":"ho","track":"system"}],)"
                             R"("text":"Me: hi\nThem: ho"})"
                             "\n");

    EXPECT_EQ(run(Command::ShowTranscript{"F"}, context), Exit::refused);
    EXPECT_EQ(takeTold(), "No transcript has an id that begins with F.\n");
    EXPECT_EQ(run(Command::ShowTranscript{"0"}, context), Exit::refused);
    EXPECT_EQ(takeTold(),
              "More than one transcript has an id that begins with 0; please give more characters of the id.\n");
}

TEST_F(TranscriptVerbs, delete_everything_that_is_kept_of_a_transcript) {
    const Paths& paths = context.paths;
    const RecognitionCache cache{paths.recognised(), paths.downloads()};
    for (const std::uint8_t number : {std::uint8_t{1}, std::uint8_t{2}}) {
        const std::string path = "/home/me/" + std::to_string(number) + ".wav";
        add(number, 0, {TranscriptSource::Kind::file, path}, "words");
        // The ids begin alike, so the names of these files do not tell them apart.
        RecognitionCache::Recording{cache.folder(), std::to_string(number), path}.add({}, {});
    }
    Recordings calls{database};
    VostelMCPKit::UUID other = uuid(3);
    other.bytes.front() = 0x3F;
    ASSERT_TRUE(calls.begin(other, at(0)));
    const auto text = saveTranscriptFile(paths.transcripts(), transcriptFileName(at(0), "recording", other), "words");
    const auto kept = saveTranscriptFile(paths.transcripts(), transcriptFileName(at(0), "1.wav", uuid(1)), "words");
    ASSERT_TRUE(text && kept);

    EXPECT_EQ(run(Command::DeleteTranscript{"3F"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Deleted " + other.text() + ".\n");
    EXPECT_FALSE(std::filesystem::exists(*text));
    EXPECT_TRUE(std::filesystem::exists(*kept));
    EXPECT_EQ(calls.find(other).value(), std::nullopt);

    EXPECT_EQ(run(Command::DeleteTranscript{idText(1)}, context), Exit::done);
    EXPECT_FALSE(std::filesystem::exists(*kept));
    EXPECT_EQ(Transcripts{database}.find(uuid(1)).value(), std::nullopt);
    EXPECT_TRUE(Transcripts{database}.find(uuid(2)).value());
    EXPECT_FALSE(std::filesystem::exists(cache.folder() / "1.words"));
    EXPECT_TRUE(std::filesystem::exists(cache.folder() / "2.words"));
    takePrinted();

    EXPECT_EQ(run(Command::DeleteTranscript{idText(1)}, context), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
}

} // namespace vostel_companion
