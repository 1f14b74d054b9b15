#include "companion/speech/UtteranceSplitter.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <ostream>

namespace vostel_companion {

namespace {

constexpr std::size_t frame = UtteranceSplitter::frameSize;
constexpr std::size_t second = UtteranceSplitter::sampleRate;

/// Every sample other than zero is speech.
bool isLoud(std::span<const std::int16_t> samples) {
    return std::ranges::any_of(samples, [](std::int16_t sample) { return sample != 0; });
}

struct Stretch {
    std::size_t length;
    std::int16_t level;
};

std::vector<std::int16_t> sound(std::initializer_list<Stretch> stretches) {
    std::vector<std::int16_t> samples;
    for (const Stretch& stretch : stretches) samples.insert(samples.end(), stretch.length, stretch.level);
    return samples;
}

struct Piece {
    std::size_t start;
    std::size_t length;

    bool operator==(const Piece&) const = default;
};
void PrintTo(const Piece& piece, std::ostream* out) { *out << piece.start << " for " << piece.length; }

std::vector<Piece> pieces(const std::vector<std::int16_t>& samples, std::size_t step) {
    UtteranceSplitter splitter{isLoud};
    std::vector<Piece> found;
    const auto take = [&](const std::vector<Utterance>& utterances) {
        for (const Utterance& utterance : utterances) {
            EXPECT_TRUE(std::ranges::equal(utterance.samples,
                                           std::span{samples}.subspan(utterance.start, utterance.samples.size())));
            found.push_back({utterance.start, utterance.samples.size()});
        }
    };
    for (std::size_t at = 0; at < samples.size(); at += step) {
        take(splitter.push(std::span{samples}.subspan(at, std::min(step, samples.size() - at))));
    }
    take(splitter.finish());
    return found;
}

} // namespace

TEST(UtteranceSplitter, cuts_speech_out_of_a_recording) {
    struct Row {
        const char* when;
        std::vector<std::int16_t> samples;
        std::vector<Piece> expected;
    };
    constexpr std::size_t lead = UtteranceSplitter::lead;
    const Row rows[] = {
        {"nothing", {}, {}},
        {"silence", sound({{6 * second, 0}}), {}},
        {"speech from end to end", sound({{2 * second, 100}}), {{0, 2 * second}}},
        {"an end within a frame", sound({{2 * second + 7, 100}}), {{0, 2 * second + 7}}},
        {"less than a frame", sound({{7, 100}}), {}},
        {"silence before", sound({{4 * second, 0}, {second, 100}}), {{4 * second - lead, second + lead}}},
        {"a short pause", sound({{second, 100}, {second, 0}, {second, 100}}), {{0, 3 * second}}},
        {"a long pause",
         sound({{second, 100}, {3 * second, 0}, {second, 100}}),
         {{0, second + UtteranceSplitter::longPause - lead}, {4 * second - lead, second + lead}}},
        {"a short pause after enough speech",
         sound({{6 * second, 100}, {second, 0}, {second, 100}}),
         {{0, 6 * second}, {7 * second - lead, second + lead}}},
    };
    for (const Row& row : rows) {
        for (const std::size_t step : {std::size_t{1}, std::size_t{97}, frame, 5 * second}) {
            SCOPED_TRACE(row.when);
            SCOPED_TRACE(step);
            EXPECT_EQ(pieces(row.samples, step), row.expected);
        }
    }
}

TEST(UtteranceSplitter, speech_without_a_pause_is_cut_at_its_quietest_moment) {
    // Half a second is quiet, from second 10 on.
    const auto samples = sound({{10 * second, 1000}, {second / 2, 10}, {10 * second, 1000}});
    const auto found = pieces(samples, 1000);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].start, 0U);
    EXPECT_GE(found[0].length, 10 * second);
    EXPECT_LE(found[0].length, 10 * second + second / 2);
    EXPECT_EQ(found[1].start, found[0].length) << "nothing is lost";
    EXPECT_EQ(found[1].start + found[1].length, samples.size());
}

TEST(UtteranceSplitter, speech_without_pauses_is_cut_into_pieces_of_limited_length) {
    std::size_t end = 0;
    const auto samples = sound({{100 * second, 1000}});
    for (const Piece& piece : pieces(samples, 12'345)) {
        EXPECT_LE(piece.length, UtteranceSplitter::longest);
        EXPECT_EQ(piece.start, end);
        end += piece.length;
    }
    EXPECT_EQ(end, samples.size());
}

TEST(UtteranceSplitter, its_position_is_the_end_of_what_was_returned_or_dropped) {
    UtteranceSplitter splitter{isLoud};
    std::ignore = splitter.push(sound({{10 * second, 0}}));
    EXPECT_EQ(splitter.position(), 10 * second - UtteranceSplitter::lead);
    std::ignore = splitter.push(sound({{2 * second, 100}}));
    EXPECT_LT(splitter.position(), 10 * second);
    std::ignore = splitter.finish();
    EXPECT_EQ(splitter.position(), 12 * second);
}

} // namespace vostel_companion
