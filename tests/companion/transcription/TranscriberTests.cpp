#include "companion/transcription/Transcriber.h"
#include "tests/companion/support/AlwaysModel.h"
#include "tests/companion/support/IgnoreProgress.h"
#include "tests/companion/support/PlainWords.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <future>
#include <gtest/gtest.h>

namespace vostel_companion {

using vostel_tests::ignoreProgress;
using vostel_tests::plainWords;
using vostel_tests::samplesOf;
using vostel_tests::spoken;
using vostel_tests::TemporaryFolder;
using vostel_tests::wav;
using vostel_tests::writeFile;

namespace {

void append(std::vector<std::int16_t>& samples, const std::vector<std::int16_t>& more) {
    samples.insert(samples.end(), more.begin(), more.end());
}

} // namespace

TEST(Transcriber, finds_the_words_of_a_long_recording_at_their_times) {
    // Two sentences with half a minute of silence before each.
    const std::vector<std::int16_t> silence(16'000 * 30);
    std::vector<std::int16_t> samples = silence;
    append(samples, samplesOf(spoken("0930")));
    append(samples, silence);
    append(samples, samplesOf(spoken("0880")));
    const TemporaryFolder folder;
    writeFile(folder.path() / "long.wav", wav(samples, 16'000));

    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1};
    Cancellation cancellation;
    std::vector<double> progress;
    std::vector<std::string> messages;
    const auto done = transcriber.transcribe(folder.path() / "long.wav", "en", cancellation, [&](const Progress& now) {
        progress.push_back(now.fraction);
        messages.push_back(now.message);
    });
    ASSERT_TRUE(done) << done.error().description();
    const auto& segments = done->transcript.segments;
    ASSERT_GE(segments.size(), 12U);
    EXPECT_TRUE(plainWords(done->transcript.segments).starts_with("he might even have been made amiable himself "))
        << plainWords(done->transcript.segments);
    EXPECT_NEAR(segments[0].startTime.count(), 30.2, 0.2);
    EXPECT_NEAR(segments[8].startTime.count(), 63.5, 0.2) << segments[8].text;
    EXPECT_NEAR(done->duration.count(), 66.3, 0.1);

    EXPECT_TRUE(std::ranges::is_sorted(progress));
    EXPECT_EQ(std::ranges::adjacent_find(progress), progress.end());
    EXPECT_GT(std::ranges::count_if(progress, [](double fraction) { return fraction > 0.46 && fraction < 0.5; }), 2)
        << "the first sentence";
    EXPECT_EQ(progress.back(), 1);
    EXPECT_TRUE(std::ranges::find(messages, "Transcribing 0:30 of 1:06") != messages.end()) << messages.front();
    EXPECT_EQ(messages.back(), "Transcribing 1:06 of 1:06");
}

TEST(Transcriber, a_recording_without_speech_has_an_empty_transcript) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "silence.wav", wav(std::vector<std::int16_t>(16'000), 16'000));
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1};
    Cancellation cancellation;
    const auto done = transcriber.transcribe(folder.path() / "silence.wav", "", cancellation, ignoreProgress);
    ASSERT_TRUE(done);
    EXPECT_EQ(done->transcript, Transcript{});
}

TEST(Transcriber, the_words_do_not_depend_on_the_number_of_decoders) {
    // Four utterances of a second, with silence between them.
    std::vector<std::int16_t> samples;
    for (const char* number : {"0930", "0880", "0890", "0920"}) {
        auto beginning = samplesOf(spoken(number));
        beginning.resize(16'000);
        append(samples, beginning);
        samples.resize(samples.size() + 16'000 * 16 / 10);
    }
    const TemporaryFolder folder;
    const auto path = folder.path() / "meeting.wav";
    writeFile(path, wav(samples, 16'000));
    const auto choose = vostel_tests::always(VOSTEL_MODEL_FOLDER);
    const auto words = [&](Transcriber& transcriber) {
        Cancellation never;
        std::vector<double> progress;
        const auto done =
            transcriber.transcribe(path, "", never, [&](const Progress& now) { progress.push_back(now.fraction); });
        EXPECT_TRUE(std::ranges::is_sorted(progress));
        EXPECT_EQ(progress.empty() ? 0 : progress.back(), 1);
        return done ? done->transcript.segments : std::vector<TranscriptSegment>{};
    };
    Transcriber one{choose, 1};
    const auto serial = words(one);
    ASSERT_GE(serial.size(), 8U);

    const RecognitionCache cache{folder.path() / "kept", folder.path() / "downloads"};
    Transcriber several{choose, 3, cache};
    Cancellation cancelled;
    EXPECT_FALSE(several.transcribe(path, "", cancelled, [&](const Progress& now) {
        if (now.fraction > 0.5) cancelled.cancel();
    }));
    EXPECT_EQ(words(several), serial) << "interrupted and continued with several decoders";

    Transcriber alone{choose, 3, std::nullopt, [](posix::ThreadName, const std::function<void()>&) {
                          return std::unexpected(VostelMCPKit::PosixError{EAGAIN});
                      }};
    EXPECT_EQ(words(alone), serial) << "no thread could be started";
}

TEST(Transcriber, frees_its_models_when_it_has_been_idle) {
    const TemporaryFolder folder;
    auto beginning = samplesOf(spoken("0930"));
    beginning.resize(16'000);
    writeFile(folder.path() / "beginning.wav", wav(beginning, 16'000));
    std::chrono::steady_clock::time_point now;
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1, std::nullopt, posix::startBlockingThread,
                            [&] { return now; }};
    EXPECT_FALSE(transcriber.freeIdle()) << "nothing is loaded";
    for (int round = 0; round < 2; ++round) {
        Cancellation cancellation;
        ASSERT_TRUE(transcriber.transcribe(folder.path() / "beginning.wav", "", cancellation, [&](const Progress&) {
            now += 2 * Transcriber::keptIdle;
            EXPECT_FALSE(transcriber.freeIdle()) << "it is in use";
        }));
        now += Transcriber::keptIdle - std::chrono::seconds{1};
        EXPECT_FALSE(transcriber.freeIdle());
        now += std::chrono::seconds{1};
        EXPECT_TRUE(transcriber.freeIdle());
        EXPECT_FALSE(transcriber.freeIdle());
    }
}

TEST(Transcriber, several_recordings_at_once_do_not_disturb_each_other) {
    const TemporaryFolder folder;
    auto beginning = samplesOf(spoken("0930"));
    beginning.resize(16'000 * 13 / 10);
    writeFile(folder.path() / "beginning.wav", wav(beginning, 16'000));
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 2};
    std::vector<std::future<std::string>> texts;
    for (int i = 0; i < 3; ++i) {
        texts.push_back(std::async(std::launch::async, [&] {
            Cancellation cancellation;
            const auto done =
                transcriber.transcribe(folder.path() / "beginning.wav", "auto", cancellation, ignoreProgress);
            return done ? plainWords(done->transcript.segments) : done.error().description();
        }));
    }
    const std::string first = texts[0].get();
    EXPECT_TRUE(first.starts_with("he ")) << first;
    EXPECT_EQ(texts[1].get(), first);
    EXPECT_EQ(texts[2].get(), first);
}

TEST(Transcriber, an_invalid_request_is_refused_in_one_sentence) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "notes.txt", "Buy milk.\n");
    struct Row {
        const char* when;
        std::string path;
        const char* language;
        std::string sentence;
    };
    const Row rows[] = {
        {"a relative path", "meeting.m4a", "",
         "The path 'meeting.m4a' is relative; transcribe_file needs the absolute path of the file."},
        {"a path from the home folder", "~/meeting.m4a", "",
         "The path '~/meeting.m4a' is relative; transcribe_file needs the absolute path of the file."},
        {"an empty path", "", "", "The path '' is relative; transcribe_file needs the absolute path of the file."},
        {"not a language", "/meeting.m4a", "Klingon",
         "The language 'Klingon' is unknown; pass an ISO 639-1 code such as 'en', or leave it out."},
        {"a path with a NUL", std::string{"/etc/passwd\0.wav", 16}, "", "There is no file at '/etc/passwd\uFFFD.wav'."},
        {"a missing file", "/nowhere/meeting.m4a", "en", "There is no file at '/nowhere/meeting.m4a'."},
        {"not audio", folder.path() / "notes.txt", "ru",
         "'" + (folder.path() / "notes.txt").string() + "' is not an audio or video file that Vostel can read."},
    };
    Transcriber transcriber{vostel_tests::always("/nowhere"), 1};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Cancellation cancellation;
        const auto done = transcriber.transcribe(row.path, row.language, cancellation, ignoreProgress);
        ASSERT_FALSE(done);
        EXPECT_EQ(done.error().description(), row.sentence);
    });
}

TEST(Transcriber, a_missing_model_is_refused_in_one_sentence) {
    Transcriber transcriber{vostel_tests::always("/nowhere"), 1};
    Cancellation cancellation;
    const auto done = transcriber.transcribe(spoken("0930"), "", cancellation, ignoreProgress);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().description(),
              "Vostel's speech recognition model is missing or damaged; please install it again.");
}

TEST(Transcriber, loads_the_model_of_the_language) {
    const TemporaryFolder folder;
    std::filesystem::create_directory_symlink(VOSTEL_MODEL_FOLDER "/en-us", folder.path() / "fr");
    std::filesystem::create_symlink(VOSTEL_MODEL_FOLDER "/en-us.lm.bin", folder.path() / "fr.lm.bin");
    // The language model knows only a few words besides those of the recordings.
    writeFile(folder.path() / "fr.dict", "man HH IY\n");
    const Transcriber::ChooseModel choose = [&](const std::string& language) {
        return language == "fr" ? SpeechModel{folder.path(), "fr"} : SpeechModel{VOSTEL_MODEL_FOLDER, "en"};
    };
    Transcriber transcriber{choose, 1};
    Cancellation cancellation;
    const char* sentence = "he might even have been made amiable himself";
    const auto english = transcriber.transcribe(spoken("0930"), "", cancellation, ignoreProgress);
    EXPECT_EQ(plainWords(english->transcript.segments), sentence);
    EXPECT_EQ(english->language, "en");
    const auto french = transcriber.transcribe(spoken("0930"), "fr", cancellation, ignoreProgress);
    ASSERT_TRUE(french) << french.error().description();
    EXPECT_TRUE(plainWords(french->transcript.segments).starts_with("man"));
    EXPECT_EQ(french->language, "fr");
    EXPECT_EQ(
        plainWords(transcriber.transcribe(spoken("0930"), "en", cancellation, ignoreProgress)->transcript.segments),
        sentence);
}

TEST(Transcriber, a_model_that_was_installed_again_is_loaded_again) {
    const TemporaryFolder folder;
    const std::filesystem::path place = folder.path() / "de";
    // As in an installation, a new folder replaces the old one.
    const auto install = [&](const std::string& dictionary) {
        const std::filesystem::path staged = folder.path() / "staged";
        std::filesystem::create_directory(staged);
        std::filesystem::create_directory_symlink(VOSTEL_MODEL_FOLDER "/en-us", staged / "de");
        std::filesystem::create_symlink(VOSTEL_MODEL_FOLDER "/en-us.lm.bin", staged / "de.lm.bin");
        writeFile(staged / "de.dict", dictionary);
        std::filesystem::remove_all(place);
        std::filesystem::rename(staged, place);
    };
    Transcriber transcriber{vostel_tests::always(place), 1};
    Cancellation cancellation;
    for (const char* word : {"man", "woman"}) {
        install(word + std::string{" HH IY\n"});
        const auto done = transcriber.transcribe(spoken("0930"), "", cancellation, ignoreProgress);
        ASSERT_TRUE(done) << done.error().description();
        ASSERT_FALSE(done->transcript.segments.empty());
        EXPECT_EQ(done->transcript.segments[0].text, word);
    }
    std::filesystem::remove_all(place);
    EXPECT_FALSE(transcriber.transcribe(spoken("0930"), "", cancellation, ignoreProgress));
}

TEST(Transcriber, a_cancelled_call_ends_early) {
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1};
    Cancellation cancellation;
    double reached = 0;
    const auto done = transcriber.transcribe(spoken("0930"), "", cancellation, [&](const Progress& now) {
        reached = now.fraction;
        cancellation.cancel();
    });
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().description(), "The transcription was cancelled.");
    EXPECT_LT(reached, 0.5);
}

TEST(Transcriber, a_cancelled_call_does_not_wait_for_its_turn) {
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1};
    Cancellation first;
    const auto outer = transcriber.transcribe(spoken("0930"), "", first, [&](const Progress&) {
        if (first.isCancelled()) return;
        // While the only model is in use, another call waits and is cancelled.
        Cancellation second;
        auto inner = std::async(std::launch::async,
                                [&] { return transcriber.transcribe(spoken("0930"), "", second, ignoreProgress); });
        second.cancel();
        EXPECT_EQ(inner.get().error(), TranscriptionError{TranscriptionError::Cancelled{}});
        first.cancel();
    });
    EXPECT_FALSE(outer);
}

TEST(Transcriber, a_repeated_request_continues_where_the_last_one_stopped_and_then_answers_at_once) {
    // Two utterances.
    std::vector<std::int16_t> samples = samplesOf(spoken("0930"));
    samples.resize(samples.size() + 16'000 * 3);
    append(samples, samplesOf(spoken("0930")));
    const TemporaryFolder folder;
    const auto path = folder.path() / "meeting.wav";
    writeFile(path, wav(samples, 16'000));
    const auto kept = folder.path() / "kept";
    const auto transcriber = [&](const std::string& model) {
        return Transcriber{vostel_tests::always(model), 1, RecognitionCache{kept, folder.path() / "downloads"}};
    };

    Cancellation cancelled;
    EXPECT_FALSE(transcriber(VOSTEL_MODEL_FOLDER).transcribe(path, "", cancelled, [&](const Progress& now) {
        if (now.fraction > 0.6) cancelled.cancel();
    }));
    Cancellation cancellation;
    Transcriber again = transcriber(VOSTEL_MODEL_FOLDER);
    double first = 0;
    const auto whole = again.transcribe(path, "", cancellation, [&](const Progress& now) {
        if (first == 0) first = now.fraction;
    });
    ASSERT_TRUE(whole);
    EXPECT_EQ(plainWords(whole->transcript.segments),
              "he might even have been made amiable himself he might even have been made "
              "amiable himself");
    EXPECT_GT(first, 0.3) << "the first utterance was not recognised again";

    const auto last = again.transcribe(path, "", cancellation, [](const Progress&) { FAIL() << "nothing is done"; });
    EXPECT_EQ(last, whole);
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + std::chrono::seconds{1});
    cancellation.cancel();
    EXPECT_FALSE(again.transcribe(path, "", cancellation, ignoreProgress)) << "a changed file is recognised again";
}

} // namespace vostel_companion
