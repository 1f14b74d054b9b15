#include "companion/transcript/Subtitles.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;

TEST(Subtitles, a_pause_a_long_text_or_a_long_time_ends_one) {
    const std::string half(41, 'x');
    const TranscriptSegment words[] = {
        {"hello", Seconds{0.5}, 1s},
        {"there", Seconds{1.9}, 2s}, // a short pause
        {"again", 3s, Seconds{3.5}}, // a pause of a second
        {half, 5s, 6s},
        {half, 6s, 7s},           // 83 bytes
        {"a", 7s, 8s},            // too much text
        {"b", Seconds{8.5}, 14s}, // exactly seven seconds
        {"c", 14s, 15s},          // too long a time
    };
    const std::vector<Subtitle> expected = {
        {"hello there", Seconds{0.5}, 2s},
        {"again", 3s, Seconds{3.5}},
        {half + " " + half, 5s, 7s},
        {"a b", 7s, 14s},
        {"c", 14s, 15s},
    };
    EXPECT_EQ(subtitles(words), expected);
    EXPECT_TRUE(subtitles(std::span<const TranscriptSegment>{}).empty());
}

TEST(Subtitles, show_who_speaks_in_a_call) {
    const RecordingLine turns[] = {{RecordingLine::Track::microphone, "Me", "good morning", 0s, 1s},
                                   {RecordingLine::Track::system, "Them", "hello", 2s, 3s}};
    EXPECT_EQ(subtitles(turns), (std::vector<Subtitle>{{"Me: good morning", 0s, 1s}, {"Them: hello", 2s, 3s}}));
}

TEST(Subtitles, are_written_as_players_read_them) {
    const Subtitle shown[] = {{"one\n\ntwo", Seconds{0.0004}, Seconds{59.9996}},
                              {"a < b & c --> d", Seconds{3723.456}, 360'000s}};
    EXPECT_EQ(srtText(shown), "1\n00:00:00,000 --> 00:01:00,000\none  two\n\n"
                              "2\n01:02:03,456 --> 100:00:00,000\na < b & c --> d\n");
    EXPECT_EQ(vttText(shown), "WEBVTT\n\n00:00:00.000 --> 00:01:00.000\none  two\n\n"
                              "01:02:03.456 --> 100:00:00.000\na &lt; b &amp; c --&gt; d\n");
    EXPECT_EQ(srtText({}), "");
    EXPECT_EQ(vttText({}), "WEBVTT\n");
}

} // namespace vostel_companion
