#include "companion/speech/SpeechDecoder.h"
#include "tests/companion/support/IgnoreProgress.h"
#include "tests/companion/support/PlainWords.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vostel_companion {

using vostel_tests::ignoreProgress;
using vostel_tests::plainWords;
using vostel_tests::samplesOf;
using vostel_tests::spoken;

namespace {

/// In a sanitized build, the model of the tests knows only a part of the words.
std::unique_ptr<SpeechDecoder> loaded() { return SpeechDecoder::load(VOSTEL_MODEL_FOLDER).value(); }

} // namespace

TEST(SpeechDecoder, finds_the_words_of_an_utterance_and_their_times) {
    const auto decoder = SpeechDecoder::load(VOSTEL_WHOLE_MODEL).value();
    const Cancellation never;
    std::vector<double> fractions;
    // As if the utterance began at second 100.
    const auto heard = decoder->decode({1'600'000, samplesOf(spoken("0930"))}, never,
                                       [&](double fraction) { fractions.push_back(fraction); });
    ASSERT_TRUE(heard);
    EXPECT_EQ(plainWords(*heard), "he might even have been made amiable himself");
    double before = 100;
    for (const TranscriptSegment& segment : *heard) {
        EXPECT_GE(segment.startTime.count(), before) << segment.text;
        EXPECT_GT(segment.endTime, segment.startTime) << segment.text;
        before = segment.endTime.count();
    }
    EXPECT_LE(before, 103.3);
    ASSERT_GT(fractions.size(), 5U);
    EXPECT_TRUE(std::ranges::is_sorted(fractions));
    EXPECT_LE(fractions.back(), 1);
}

TEST(SpeechDecoder, too_little_sound_has_no_words) {
    const auto decoder = loaded();
    const Cancellation never;
    for (const std::size_t length : {0U, 1U, 100U, 410U, 1600U}) {
        SCOPED_TRACE(length);
        const auto heard = decoder->decode({0, std::vector<std::int16_t>(length)}, never, ignoreProgress);
        ASSERT_TRUE(heard);
        EXPECT_EQ(plainWords(*heard), "");
    }
}

TEST(SpeechDecoder, a_cancelled_utterance_stops_soon_and_the_decoder_can_decode_the_next) {
    const auto decoder = loaded();
    Cancellation cancellation;
    int reports = 0;
    const auto heard = decoder->decode({0, samplesOf(spoken("0930"))}, cancellation, [&](double) {
        ++reports;
        cancellation.cancel();
    });
    ASSERT_FALSE(heard);
    EXPECT_EQ(heard.error(), SpeechError{SpeechError::Kind::cancelled});
    EXPECT_EQ(reports, 1);

    const Cancellation never;
    EXPECT_EQ(plainWords(decoder->decode({0, samplesOf(spoken("0930"))}, never, ignoreProgress).value()),
              "he might even have been made amiable himself");
}

TEST(SpeechDecoder, an_utterance_does_not_depend_on_those_before_it) {
    const Cancellation never;
    auto loud = samplesOf(spoken("0890"));
    loud.resize(16'000);
    const auto heard = [&](SpeechDecoder& decoder) {
        auto sentence = samplesOf(spoken("0880"));
        return decoder.decode({0, std::move(sentence)}, never, ignoreProgress).value();
    };
    const auto alone = heard(*loaded());
    const auto decoder = loaded();
    ASSERT_TRUE(decoder->decode({0, loud}, never, ignoreProgress));
    EXPECT_EQ(heard(*decoder), alone);
}

TEST(SpeechDecoder, a_missing_model_is_an_error) {
    const vostel_tests::TemporaryFolder folder;
    const auto missing = SpeechDecoder::load(folder.path());
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().description(),
              "Vostel's speech recognition model is missing or damaged; please install it again.");
}

} // namespace vostel_companion
