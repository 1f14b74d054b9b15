// The verbs that transcribe.
#include "companion/commands/DictateVerb.h"
#include "companion/commands/RecordVerb.h"
#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Vocabulary.h"
#include "posix/FileLock.h"
#include "tests/companion/commands/VerbFixture.h"

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
} // namespace

TEST_F(DictateVerb, prints_the_text_and_adds_it_to_the_history) {
    recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}, {1, "world"}}, 2.5);
    teach("world", "World");
    EXPECT_EQ(run(Command::Dictate{"a.wav", "en"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Hello. World.\n");
    EXPECT_EQ(takeErrors(), "");
    EXPECT_EQ(languages, std::vector<std::string>{"en"});
    EXPECT_EQ(history(),
              (std::vector{Dictation{uuid(1), at(1'000'000'000'000), "Hello. World.", Dictation::Outcome::delivered,
                                     std::nullopt, std::nullopt, Seconds{2.5}}}));
}

TEST_F(DictateVerb, an_absolute_path_stays_unchanged) {
    recordings["/else/a.wav"] = spokenWords({{0, "hello"}}, 1);
    EXPECT_EQ(run(Command::Dictate{"/else/a.wav", ""}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Hello.\n");
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
    EXPECT_EQ(takeErrors(), "There is no file at '/home/me/a.wav'.\n");

    recordings["/home/me/silence.wav"] = spokenWords({}, 1);
    EXPECT_EQ(run(Command::Dictate{"silence.wav", ""}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "No speech was found in '/home/me/silence.wav'.\n");

    duringTranscription = [&] { cancellation.cancel(); };
    EXPECT_EQ(run(Command::Dictate{"silence.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "The transcription was cancelled.\n");
    EXPECT_EQ(takePrinted(), "");
    EXPECT_TRUE(history().empty());
}

TEST_F(DictateVerb, control_characters_of_a_replacement_are_stored_but_not_printed) {
    recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}}, 1);
    teach("hello", "x\x1B[2Jy");
    EXPECT_EQ(run(Command::Dictate{"a.wav", ""}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "x\xEF\xBF\xBD[2Jy.\n");
    EXPECT_EQ(history().front().text, "x\x1B[2Jy.");
}

TEST_F(RecordVerb, makes_one_call_from_two_tracks) {
    teach("mourning", "morning");
    EXPECT_EQ(record(), Exit::done);
    EXPECT_EQ(takePrinted(), "Me: Good morning.\nThem: Hello.\nMe: Fine.\n");
    EXPECT_EQ(takeErrors(), "");
    const auto stored = Recordings{database}.find(uuid(1)).value();
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->summary,
              (RecordingSummary{uuid(1), at(1'000'000'000'000), Seconds{30}, RecordingSummary::State::ready,
                                std::nullopt, std::nullopt, "en", 3, "Me: Good morning.\nThem: Hello.\nMe: Fine."}));
    EXPECT_EQ(stored->lines[0],
              (RecordingLine{RecordingLine::Track::microphone, "Me", "Good morning.", Seconds{0}, Seconds{1}}));
    EXPECT_FALSE(std::filesystem::exists(context.paths.lockOfRecording(uuid(1)))) << "the recording is finished";
}

TEST_F(RecordVerb, other_processes_see_its_progress_and_its_lock) {
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

TEST_F(RecordVerb, nothing_is_stored_if_a_file_cannot_be_read) {
    EXPECT_EQ(run(Command::Record{"nobody.wav", "them.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "There is no file at '/home/me/nobody.wav'.\n");
    EXPECT_EQ(run(Command::Record{"me.wav", "nobody.wav", ""}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "There is no file at '/home/me/nobody.wav'.\n");
    EXPECT_EQ(run(Command::Record{"me.wav", "them.wav", "gibberish!"}, context), Exit::failed);
    EXPECT_EQ(takeErrors(),
              "The language 'gibberish!' is unknown; pass an ISO 639-1 code such as 'en', or leave it out.\n");
    EXPECT_EQ(count(), 0);
    EXPECT_TRUE(languages.empty()) << "nothing was transcribed";
}

TEST_F(RecordVerb, an_interrupted_recording_is_stored_as_failed) {
    duringTranscription = [&] { cancellation.cancel(); };
    EXPECT_EQ(record(), Exit::failed);
    EXPECT_EQ(takeErrors(), "The transcription was cancelled.\n");
    EXPECT_EQ(summary().state, RecordingSummary::State::failed);
    EXPECT_EQ(summary().failureReason, "The transcription was cancelled.");
    EXPECT_FALSE(std::filesystem::exists(context.paths.lockOfRecording(uuid(1))));
}

TEST_F(RecordVerb, a_file_that_is_deleted_meanwhile_fails_the_recording) {
    duringTranscription = [&] { recordings.erase("/home/me/them.wav"); };
    EXPECT_EQ(record(), Exit::failed);
    EXPECT_EQ(summary().failureReason, "There is no file at '/home/me/them.wav'.");
}

TEST_F(RecordVerb, a_call_in_which_nobody_speaks_is_ready_and_empty) {
    recordings["/home/me/me.wav"] = recordings["/home/me/them.wav"] = spokenWords({}, 0);
    EXPECT_EQ(record(), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "No speech was found in this call.\n");
    EXPECT_EQ(summary().state, RecordingSummary::State::ready);
    EXPECT_EQ(summary().lineCount, 0);
}

} // namespace vostel_companion
