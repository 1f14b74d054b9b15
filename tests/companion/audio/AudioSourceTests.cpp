#include "companion/audio/AudioSource.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace vostel_companion {

using vostel_tests::encodeTone;
using vostel_tests::readFile;
using vostel_tests::TemporaryFolder;
using vostel_tests::tone;
using vostel_tests::wav;
using vostel_tests::writeFile;

namespace {

std::expected<std::vector<std::int16_t>, AudioError> everything(const std::string& path) {
    Cancellation cancellation;
    auto source = AudioSource::open(path, cancellation);
    if (!source) return std::unexpected(source.error());
    std::vector<std::int16_t> all;
    while (true) {
        const auto samples = source->read();
        if (!samples) return std::unexpected(samples.error());
        if (samples->empty()) return all;
        all.insert(all.end(), samples->begin(), samples->end());
    }
}

double seconds(const std::vector<std::int16_t>& samples) { return static_cast<double>(samples.size()) / 16000; }

double loudness(std::span<const std::int16_t> samples) {
    double energy = 0;
    for (const std::int16_t sample : samples) energy += static_cast<double>(sample) * sample;
    return samples.empty() ? 0 : std::sqrt(energy / static_cast<double>(samples.size()));
}

/// Fills the field of a FLAC header that tells how many samples follow: 36 bits, the last ones before the checksum.
void setSampleCount(std::string& flac, char filling) {
    flac[21] = static_cast<char>((flac[21] & 0xF0) | (filling & 0x0F));
    for (std::size_t i = 22; i < 26; ++i) flac[i] = filling;
}

std::string description(const std::expected<std::vector<std::int16_t>, AudioError>& result) {
    return result ? "" : result.error().description("/a/b");
}

} // namespace

TEST(AudioSource, samples_in_the_wanted_format_stay_unchanged) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "plain.wav";
    const auto samples = tone(1.5, 16000);
    writeFile(file, wav(samples, 16000));
    EXPECT_EQ(everything(file), samples);
}

TEST(AudioSource, common_formats_are_decoded_to_their_length_and_loudness) {
    struct Row {
        const char* when;
        const char* file;
        const char* encoder;
        bool video;
    };
    const Row rows[] = {
        {"MP3", "a.mp3", "libmp3lame", false},        {"AAC in MP4", "a.m4a", "aac", false},
        {"bare AAC", "a.aac", "aac", false},          {"Vorbis in Ogg", "a.ogg", "libvorbis", false},
        {"Opus in WebM", "a.webm", "libopus", false}, {"FLAC", "a.flac", "flac", false},
        {"AIFF", "a.aiff", "pcm_s16be", false},       {"Windows Media", "a.wma", "wmav2", false},
        {"24-bit WAV", "a.wav", "pcm_s24le", false},  {"a QuickTime film", "a.mov", "aac", true},
        {"a Matroska film", "a.mkv", "ac3", true},    {"a transport stream", "a.ts", "mp2", true},
        {"an AVI film", "a.avi", "pcm_s16le", true},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const TemporaryFolder folder;
        const auto file = folder.path() / row.file;
        ASSERT_TRUE(encodeTone(file, row.encoder, 2.0, row.video));
        const auto decoded = everything(file);
        ASSERT_TRUE(decoded) << decoded.error().description(row.file);
        EXPECT_NEAR(seconds(*decoded), 2.0, 0.15);
        EXPECT_NEAR(loudness(*decoded), loudness(tone(2.0, 16000)), 500);
    });
}

TEST(AudioSource, a_missing_or_wrong_extension_does_not_matter) {
    const TemporaryFolder folder;
    ASSERT_TRUE(encodeTone(folder.path() / "a.mp3", "libmp3lame", 1.0));
    for (const char* name : {"voice", "voice.txt", "voice.wav", "голос запись.m3u8"}) {
        SCOPED_TRACE(name);
        std::filesystem::copy_file(folder.path() / "a.mp3", folder.path() / name);
        const auto decoded = everything(folder.path() / name);
        ASSERT_TRUE(decoded);
        EXPECT_NEAR(seconds(*decoded), 1.0, 0.15);
    }
}

TEST(AudioSource, every_rate_and_channel_count_becomes_16_kHz_mono) {
    struct Row {
        const char* when;
        int rate;
        int channels;
    };
    const Row rows[] = {{"telephone", 8000, 1},
                        {"compact disc", 44100, 2},
                        {"studio, surround", 96000, 6},
                        {"a mixing desk", 48000, 10}};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const TemporaryFolder folder;
        const auto file = folder.path() / "a.wav";
        std::vector<std::int16_t> interleaved;
        for (const std::int16_t sample : tone(1.0, row.rate)) {
            interleaved.insert(interleaved.end(), static_cast<std::size_t>(row.channels), sample);
        }
        writeFile(file, wav(interleaved, row.rate, row.channels));
        const auto decoded = everything(file);
        ASSERT_TRUE(decoded);
        EXPECT_NEAR(seconds(*decoded), 1.0, 0.01);
        EXPECT_GT(loudness(*decoded), 1000);
    });
}

TEST(AudioSource, the_consumed_fraction_rises_to_one_when_the_length_is_known) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "a.wav";
    writeFile(file, wav(tone(3.0, 16000), 16000));
    Cancellation cancellation;
    auto source = AudioSource::open(file, cancellation);
    ASSERT_TRUE(source);
    EXPECT_NEAR(source->duration().value().count(), 3.0, 0.001);
    EXPECT_EQ(source->consumed(), 0);
    double before = 0;
    while (true) {
        const auto samples = source->read();
        ASSERT_TRUE(samples);
        if (samples->empty()) break;
        EXPECT_GT(source->consumed(), before);
        before = source->consumed();
    }
    EXPECT_EQ(before, 1);
}

TEST(AudioSource, the_consumed_fraction_counts_bytes_when_the_length_is_unknown) {
    // A stream that was never finished: its header has no length.
    const TemporaryFolder folder;
    ASSERT_TRUE(encodeTone(folder.path() / "a.flac", "flac", 3.0));
    std::string bytes = readFile(folder.path() / "a.flac");
    setSampleCount(bytes, 0);
    writeFile(folder.path() / "b.flac", bytes);

    Cancellation cancellation;
    auto source = AudioSource::open(folder.path() / "b.flac", cancellation);
    ASSERT_TRUE(source);
    EXPECT_FALSE(source->duration());
    std::size_t count = 0;
    while (true) {
        const auto samples = source->read();
        ASSERT_TRUE(samples);
        EXPECT_LE(source->consumed(), 1);
        if (samples->empty()) break;
        count += samples->size();
    }
    EXPECT_EQ(source->consumed(), 1);
    EXPECT_NEAR(static_cast<double>(count) / 16000, 3.0, 0.01);
}

TEST(AudioSource, long_files_are_read_in_small_pieces) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "a.wav";
    writeFile(file, wav(std::vector<std::int16_t>(16000 * 60), 16000));
    Cancellation cancellation;
    auto source = AudioSource::open(file, cancellation);
    ASSERT_TRUE(source);
    std::size_t longest = 0;
    while (true) {
        const auto samples = source->read();
        ASSERT_TRUE(samples);
        if (samples->empty()) break;
        longest = std::max(longest, samples->size());
    }
    EXPECT_LT(longest, 16000U * 10);
}

TEST(AudioSource, a_track_that_starts_late_begins_with_silence) {
    const TemporaryFolder folder;
    ASSERT_TRUE(encodeTone(folder.path() / "a.mkv", "flac", 2.0, /*video=*/true, /*lateBy=*/1.5));
    const auto decoded = everything(folder.path() / "a.mkv");
    ASSERT_TRUE(decoded);
    EXPECT_NEAR(seconds(*decoded), 3.5, 0.05);
    const std::span samples{*decoded};
    EXPECT_EQ(loudness(samples.first(16000 * 14 / 10)), 0);
    EXPECT_GT(loudness(samples.subspan(16000 * 16 / 10)), 1000);
}

TEST(AudioSource, anything_but_a_readable_media_file_is_refused_in_one_sentence) {
    const TemporaryFolder folder;
    const auto at = [&](const char* name) { return (folder.path() / name).string(); };
    writeFile(at("empty"), "");
    writeFile(at("text.mp3"), "I am no music.\n");
    writeFile(at("random"), std::string(100'000, '\x5A'));
    writeFile(at("half.wav"), wav(tone(1.0, 16000), 16000).substr(0, 30));
    ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("/dev/zero", at("zero.wav"));
    std::filesystem::create_symlink(at("loop"), at("loop"));
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", at("socket").c_str());
    ASSERT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(listening);

    struct Row {
        const char* when;
        std::string path;
        const char* sentence;
    };
    const Row rows[] = {
        {"missing", at("nothing.wav"), "There is no file at '/a/b'."},
        {"below a file", at("text.mp3/x"), "There is no file at '/a/b'."},
        {"empty", at("empty"), "'/a/b' is empty."},
        {"a folder", at("."), "'/a/b' is a folder, not an audio or video file."},
        {"a pipe without a writer", at("pipe"), "'/a/b' is a device or a pipe, not an audio or video file."},
        {"an endless device", at("zero.wav"), "'/a/b' is a device or a pipe, not an audio or video file."},
        {"a socket", at("socket"), "'/a/b' is a device or a pipe, not an audio or video file."},
        {"text", at("text.mp3"), "'/a/b' is not an audio or video file that Vostel can read."},
        {"noise bytes", at("random"), "'/a/b' is not an audio or video file that Vostel can read."},
        {"a part of a header", at("half.wav"), "'/a/b' is not an audio or video file that Vostel can read."},
        {"a link to itself", at("loop"), "'/a/b' could not be read: Too many levels of symbolic links."},
        {"a name beyond the system's limit", "/" + std::string(300, 'x'),
         "'/a/b' could not be read: File name too long."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(description(everything(row.path)), row.sentence); });
}

TEST(AudioSource, a_file_that_the_user_may_not_read_is_refused) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "secret.wav";
    writeFile(file, wav(tone(0.1, 16000), 16000));
    std::filesystem::permissions(folder.path(),
                                 std::filesystem::perms::owner_all | std::filesystem::perms::others_exec);
    std::filesystem::permissions(file, std::filesystem::perms::none);
    const uid_t user = ::geteuid();
    // The superuser may read everything, so the test becomes the user nobody for a moment.
    if (user == 0) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const auto result = everything(file);
    if (user == 0) {
        ASSERT_EQ(::seteuid(user), 0);
    }
    EXPECT_EQ(description(result), "Vostel is not allowed to read '/a/b'.");
}

TEST(AudioSource, a_media_file_without_an_audio_track_has_an_error_of_its_own) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "subtitles.srt", "1\n00:00:01,000 --> 00:00:02,000\nHello.\n\n");
    EXPECT_EQ(description(everything(folder.path() / "subtitles.srt")), "'/a/b' has no audio track.");
}

TEST(AudioSource, playlists_are_refused) {
    const TemporaryFolder folder;
    const auto sound = (folder.path() / "sound.wav").string();
    writeFile(sound, wav(tone(1.0, 16000), 16000));
    struct Row {
        const char* when;
        std::string content;
    };
    const Row rows[] = {
        {"a live stream's list",
         "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\nfile://" + sound + "\n#EXT-X-ENDLIST\n"},
        {"a list on the network",
         "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\nhttp://127.0.0.1:9/a.ts\n#EXT-X-ENDLIST\n"},
        {"a list of pieces", "ffconcat version 1.0\nfile " + sound + "\n"},
        {"a session description",
         "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=audio 5004 RTP/AVP 0\n"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        writeFile(folder.path() / "list", row.content);
        EXPECT_EQ(description(everything(folder.path() / "list")),
                  "'/a/b' is not an audio or video file that Vostel can read.");
    });
}

TEST(AudioSource, a_recording_that_was_cut_off_is_decoded_to_its_end) {
    const TemporaryFolder folder;
    const auto samples = tone(4.0, 16000);
    const std::string whole = wav(samples, 16000);
    writeFile(folder.path() / "a.wav", whole.substr(0, whole.size() / 2));
    const auto decoded = everything(folder.path() / "a.wav");
    ASSERT_TRUE(decoded);
    EXPECT_NEAR(seconds(*decoded), 2.0, 0.05);
}

TEST(AudioSource, a_short_damage_becomes_silence_and_a_long_one_is_an_error) {
    const TemporaryFolder folder;
    ASSERT_TRUE(encodeTone(folder.path() / "a.m4a", "aac", 30.0));
    const std::string bytes = readFile(folder.path() / "a.m4a");
    const std::size_t media = bytes.find("mdat");
    ASSERT_NE(media, std::string::npos);
    const auto withGarbage = [&](std::size_t from, std::size_t count) {
        std::string broken = bytes;
        for (std::size_t i = from; i < from + count; ++i) broken[i] = static_cast<char>(0xE5 ^ (i * 31));
        return broken;
    };
    writeFile(folder.path() / "scratched.m4a", withGarbage(media + 60'000, 1'000));
    writeFile(folder.path() / "broken.m4a", withGarbage(media + 60'000, 60'000));

    const auto scratched = everything(folder.path() / "scratched.m4a");
    ASSERT_TRUE(scratched);
    EXPECT_NEAR(seconds(*scratched), 30.0, 0.5) << "times after the damage stay those of the file";
    const auto broken = everything(folder.path() / "broken.m4a");
    ASSERT_FALSE(broken);
    EXPECT_TRUE(
        broken.error().description("/a/b").starts_with("'/a/b' is damaged: its audio could not be read past second "))
        << broken.error().description("/a/b");
}

TEST(AudioSource, changed_bytes_neither_hang_nor_crash_the_decoder) {
    const TemporaryFolder folder;
    std::vector<std::string> seeds;
    for (const auto& [name, encoder] : {std::pair{"s.mp3", "libmp3lame"},
                                        {"s.m4a", "aac"},
                                        {"s.flac", "flac"},
                                        {"s.ogg", "libvorbis"},
                                        {"s.mkv", "ac3"},
                                        {"s.wav", "pcm_s16le"}}) {
        ASSERT_TRUE(encodeTone(folder.path() / name, encoder, 0.5));
        seeds.push_back(readFile(folder.path() / name));
    }
    std::uint32_t random = 1;
    const auto next = [&](std::size_t below) {
        random = random * 1'664'525U + 1'013'904'223U;
        return static_cast<std::size_t>(random >> 8) % below;
    };
    for (int round = 0; round < 120; ++round) {
        std::string bytes = seeds[next(seeds.size())];
        const std::size_t changes = 1 + next(20);
        // Headers decide the most, so they are hit the most.
        for (std::size_t i = 0; i < changes; ++i) {
            bytes[next(i % 2 == 0 ? std::min<std::size_t>(bytes.size(), 200) : bytes.size())] =
                static_cast<char>(next(256));
        }
        writeFile(folder.path() / "hostile", bytes);
        SCOPED_TRACE(round);
        const auto decoded = everything(folder.path() / "hostile");
        EXPECT_LE(decoded ? seconds(*decoded) : 0, 3600 * 24);
    }
}

TEST(AudioSource, a_stated_length_of_more_than_a_day_is_refused_at_once) {
    const TemporaryFolder folder;
    ASSERT_TRUE(encodeTone(folder.path() / "a.flac", "flac", 0.5));
    std::string bytes = readFile(folder.path() / "a.flac");
    setSampleCount(bytes, '\xFF');
    writeFile(folder.path() / "a.wav", bytes);
    EXPECT_EQ(description(everything(folder.path() / "a.wav")),
              "'/a/b' runs longer than 24 hours, which is more than Vostel transcribes in one call.");
}

TEST(AudioSource, a_cancelled_call_stops_reading) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "a.wav", wav(tone(1.0, 16000), 16000));
    Cancellation early;
    early.cancel();
    const auto unopened = AudioSource::open(folder.path() / "a.wav", early);
    ASSERT_FALSE(unopened);
    EXPECT_EQ(unopened.error(), AudioError{AudioError::Cancelled{}});

    Cancellation late;
    auto source = AudioSource::open(folder.path() / "a.wav", late);
    ASSERT_TRUE(source);
    ASSERT_TRUE(source->read());
    late.cancel();
    const auto samples = source->read();
    ASSERT_FALSE(samples);
    EXPECT_EQ(samples.error(), AudioError{AudioError::Cancelled{}});
}

TEST(AudioSource, descriptors_are_closed) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "a.wav", wav(tone(0.1, 16000), 16000));
    writeFile(folder.path() / "b.wav", "no sound");
    const int before = ::dup(0);
    ::close(before);
    for (int i = 0; i < 20; ++i) {
        std::ignore = everything(folder.path() / "a.wav");
        std::ignore = everything(folder.path() / "b.wav");
    }
    const int after = ::dup(0);
    ::close(after);
    EXPECT_EQ(before, after);
}

} // namespace vostel_companion
