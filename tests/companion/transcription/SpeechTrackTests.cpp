#include "companion/transcription/SpeechTrack.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(SpeechTrack, is_the_usual_one_unless_another_has_much_more_speech) {
    struct Row {
        const char* when;
        std::vector<std::size_t> speech;
        std::size_t usual;
        std::size_t chosen;
    };
    const Row rows[] = {
        {"nobody speaks", {0, 0}, 1, 1},          {"one speaks", {0, 10}, 0, 1},    {"both speak", {10, 20}, 0, 0},
        {"one speaks much more", {10, 21}, 0, 1}, {"the usual one", {30, 5}, 0, 0}, {"the third", {0, 1, 9}, 0, 2},
        {"the first of equals", {0, 9, 9}, 0, 1},
    };
    vostel_tests::forEachRow(rows,
                             [](const Row& row) { EXPECT_EQ(trackWithSpeech(row.speech, row.usual), row.chosen); });
}

TEST(SpeechTrack, is_found_in_a_file) {
    const auto speech = vostel_tests::samplesOf(vostel_tests::spoken("0930"));
    const std::vector<std::int16_t> silence(speech.size());
    const std::vector<std::int16_t> nothing;
    struct Row {
        const char* when;
        std::vector<std::vector<std::int16_t>> tracks;
        std::size_t chosen;
    };
    const Row rows[] = {
        {"one track", {speech}, 0},
        {"the first", {speech, silence}, 0},
        {"the second", {silence, speech}, 1},
        {"the third, beside an empty one", {silence, nothing, speech}, 2},
        {"silence alone", {silence, silence}, 0},
    };
    const vostel_tests::TemporaryFolder folder;
    const std::string path = folder.path() / "call.mka";
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ASSERT_TRUE(vostel_tests::writeTracks(path, row.tracks));
        const Cancellation never;
        auto source = openTrackWithSpeech(path, never);
        ASSERT_TRUE(source) << source.error().description(path);
        EXPECT_EQ(source->trackCount(), row.tracks.size());
        EXPECT_EQ(source->track(), row.chosen);
        std::size_t count = 0;
        for (auto samples = source->read(); samples && !samples->empty(); samples = source->read()) {
            count += samples->size();
        }
        EXPECT_EQ(count, speech.size()) << "it is read from its beginning";
    });
}

TEST(SpeechTrack, a_cancelled_search_ends) {
    const std::vector<std::int16_t> silence(16'000);
    const vostel_tests::TemporaryFolder folder;
    const std::string path = folder.path() / "call.mka";
    ASSERT_TRUE(vostel_tests::writeTracks(path, {silence, silence}));
    Cancellation cancellation;
    cancellation.cancel();
    const auto source = openTrackWithSpeech(path, cancellation);
    ASSERT_FALSE(source);
    EXPECT_EQ(source.error(), AudioError{AudioError::Cancelled{}});
}

} // namespace vostel_companion
