#include "companion/transcription/RecognitionCache.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;
using vostel_tests::readFile;
using vostel_tests::writeFile;

namespace {

struct Fixture {
    vostel_tests::TemporaryFolder home;
    std::filesystem::path recording = home.path() / "meeting.wav";
    RecognitionCache cache{home.path() / "kept", home.path() / "downloads"};

    Fixture() { writeFile(recording, "sound"); }
    [[nodiscard]] std::string key(const std::string& model = "en") const {
        return cache.keyOf(recording, model).value();
    }
    [[nodiscard]] RecognitionCache::Recording open() const { return {cache.folder(), key(), recording.string()}; }
    [[nodiscard]] std::filesystem::path file(const std::string& key) const { return cache.folder() / (key + ".words"); }
};

Utterance utterance(std::size_t start, std::size_t size) { return {start, std::vector<std::int16_t>(size)}; }

const std::vector<TranscriptSegment> hello = {{"hello", 0.1s, 0.25s}, {"d'été", 1s, 1.5s}};
const std::vector<TranscriptSegment> there = {{"there", 2s, 3s}};

} // namespace

TEST(RecognitionCache, continues_where_the_last_request_stopped) {
    const Fixture fixture;
    {
        auto first = fixture.open();
        EXPECT_EQ(first.find(utterance(0, 10)), nullptr);
        first.add(utterance(0, 10), hello);
    }
    auto second = fixture.open();
    ASSERT_NE(second.find(utterance(0, 10)), nullptr);
    EXPECT_EQ(*second.find(utterance(0, 10)), hello);
    EXPECT_EQ(second.find(utterance(0, 11)), nullptr) << "it was cut at another place";
    EXPECT_EQ(second.whole(), std::nullopt);
    second.add(utterance(10, 5), there);
    second.finish({15, 2, 3});

    const auto third = fixture.open();
    EXPECT_EQ(third.whole(), (RecognitionCache::Recording::Whole{15, 2, 3}));
    std::vector<TranscriptSegment> all = hello;
    all.push_back(there[0]);
    EXPECT_EQ(third.transcript().segments, all);
}

TEST(RecognitionCache, a_line_that_a_crash_cut_is_recognised_again) {
    const Fixture fixture;
    fixture.open().add(utterance(0, 10), hello);
    fixture.open().add(utterance(10, 5), there);
    const auto file = fixture.file(fixture.key());
    const std::string text = readFile(file);
    writeFile(file, text.substr(0, text.size() - 5));
    auto again = fixture.open();
    EXPECT_NE(again.find(utterance(0, 10)), nullptr);
    EXPECT_EQ(again.find(utterance(10, 5)), nullptr);
    again.add(utterance(10, 5), there);
    EXPECT_NE(fixture.open().find(utterance(10, 5)), nullptr);
}

TEST(RecognitionCache, nothing_is_used_for_a_changed_file_or_another_model) {
    const Fixture fixture;
    const std::string key = fixture.key();
    EXPECT_EQ(fixture.key(), key);
    EXPECT_NE(fixture.key("fr"), key);
    const auto time = std::filesystem::last_write_time(fixture.recording);
    std::filesystem::last_write_time(fixture.recording, time + 1s);
    EXPECT_NE(fixture.key(), key);
    writeFile(fixture.recording, "other sound");
    std::filesystem::last_write_time(fixture.recording, time);
    EXPECT_NE(fixture.key(), key) << "another size";
}

TEST(RecognitionCache, stores_nothing_for_downloads_folders_and_missing_files) {
    const Fixture fixture;
    const auto download = fixture.home.path() / "downloads/1/audio.webm";
    writeFile(download, "sound");
    EXPECT_EQ(fixture.cache.keyOf(download, "en"), std::nullopt);
    EXPECT_EQ(fixture.cache.keyOf(fixture.home.path(), "en"), std::nullopt);
    EXPECT_EQ(fixture.cache.keyOf(fixture.home.path() / "missing", "en"), std::nullopt);
}

TEST(RecognitionCache, deletes_entries_that_are_too_old_and_then_the_oldest) {
    const Fixture fixture;
    const auto now = std::filesystem::file_time_type::clock::now();
    const auto store = [&](const std::string& name, std::uintmax_t size, std::chrono::hours age) {
        writeFile(fixture.file(name), "");
        std::filesystem::resize_file(fixture.file(name), size);
        std::filesystem::last_write_time(fixture.file(name), now - age);
    };
    store("new", 1000, 1h);
    store("large", RecognitionCache::mostBytes - 2000, 2h);
    store("too much", 1500, 3h);
    store("old", 1, 7 * 24h + 1h);
    writeFile(fixture.cache.folder() / "other.txt", "content");
    fixture.cache.prune(now);
    EXPECT_TRUE(std::filesystem::exists(fixture.file("new")));
    EXPECT_TRUE(std::filesystem::exists(fixture.file("large")));
    EXPECT_FALSE(std::filesystem::exists(fixture.file("too much")));
    EXPECT_FALSE(std::filesystem::exists(fixture.file("old")));
    EXPECT_TRUE(std::filesystem::exists(fixture.cache.folder() / "other.txt"));
}

TEST(RecognitionCache, forgets_a_recording_by_its_path) {
    const Fixture fixture;
    fixture.open().add(utterance(0, 10), hello);
    RecognitionCache::Recording{fixture.cache.folder(), "other", "/home/robin/other.wav"}.add(utterance(0, 1), there);
    fixture.cache.forget(fixture.recording.string());
    EXPECT_FALSE(std::filesystem::exists(fixture.file(fixture.key())));
    EXPECT_TRUE(std::filesystem::exists(fixture.file("other")));
}

} // namespace vostel_companion
