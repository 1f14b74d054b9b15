#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/TranscriptFile.h"
#include "tests/companion/tools/ToolStage.h"
#include "tests/support/Table.h"

#include <cstdlib>
#include <sys/stat.h>

namespace vostel_companion {

namespace {

const MCPValue meeting = MCPValue::object({{"path", "/home/robin/meeting.m4a"}, {"language", "en"}});
const MCPValue video = MCPValue::object({{"url", "https://youtu.be/abc?t=1"}});

void addRules(ToolStage& stage, std::span<const VocabularyRule> rules) {
    Database database = stage.database();
    EXPECT_TRUE(Vocabulary{database}.add(rules));
}

std::vector<StoredTranscript> stored(ToolStage& stage) {
    Database database = stage.database();
    Transcripts transcripts{database};
    std::vector<StoredTranscript> all;
    const auto page = transcripts.list({});
    for (const TranscriptSummary& summary : page.value().entries)
        all.push_back(transcripts.find(summary.id).value().value());
    return all;
}

std::vector<std::filesystem::path> files(const ToolStage& stage) {
    std::vector<std::filesystem::path> paths;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator{stage.paths.transcripts(), ignored})
        paths.push_back(entry.path());
    return paths;
}

} // namespace

TEST(TranscribeFile, returns_stores_and_saves_the_words) {
    ToolStage stage;
    EXPECT_EQ(stage.text("transcribe_file", meeting), "Hello. There.");
    EXPECT_EQ(stage.result,
              MCPValue::object(
                  {{"text", "Hello. There."},
                   {"segments",
                    MCPValue::array({MCPValue::object({{"text", "hello"}, {"startTime", 0}, {"endTime", 0.5}}),
                                     MCPValue::object({{"text", "there"}, {"startTime", 1}, {"endTime", 1.5}})})}}));
    EXPECT_EQ(stage.transcribed, (std::vector<std::pair<std::string, std::string>>{{"/home/robin/meeting.m4a", "en"}}));

    const auto all = stored(stage);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].text, "Hello. There.");
    EXPECT_EQ(all[0].segments, stage.recognised->transcript.segments);
    EXPECT_EQ(all[0].summary, (TranscriptSummary{uuid(1),
                                                 testBegins,
                                                 {TranscriptSource::Kind::file, "/home/robin/meeting.m4a"},
                                                 Seconds{2},
                                                 "en",
                                                 13,
                                                 "Hello. There."}));
    ASSERT_EQ(files(stage).size(), 1U);
    EXPECT_EQ(readFile(files(stage)[0]), "Hello. There.\n");
    EXPECT_TRUE(files(stage)[0].filename().string().ends_with(" meeting.m4a 00000000.txt")) << files(stage)[0];
}

TEST(TranscribeFile, applies_the_vocabulary_to_text_and_segments_alike) {
    ToolStage stage;
    const VocabularyRule rules[] = {{"jon dash wood", "John Dashwood"}, {"mcp", ""}, {"Hello", "Good morning"}};
    addRules(stage, rules);
    stage.recognised = spokenWords({"hello", "jon", "dash", "wood", "MCP"});
    EXPECT_EQ(stage.text("transcribe_file", meeting), "Good morning. John Dashwood. mcp.");
    const auto segments = stage.result["segments"]->asArray().value();
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[1], MCPValue::object({{"text", "John Dashwood"}, {"startTime", 1}, {"endTime", 3.5}}));
    EXPECT_EQ(stored(stage)[0].text, "Good morning. John Dashwood. mcp.");
    EXPECT_EQ(readFile(files(stage)[0]), "Good morning. John Dashwood. mcp.\n");
}

TEST(TranscribeFile, sound_without_speech_is_an_empty_transcript) {
    ToolStage stage;
    stage.recognised = spokenWords({});
    EXPECT_EQ(stage.text("transcribe_file", meeting), "[No speech was found in '/home/robin/meeting.m4a'.]");
    EXPECT_EQ(*stage.result["text"], MCPValue{"[No speech was found in '/home/robin/meeting.m4a'.]"});
    ASSERT_EQ(stored(stage).size(), 1U);
    EXPECT_EQ(stored(stage)[0].text, "") << "the note is for the client";
}

TEST(TranscribeFile, says_which_of_several_tracks_was_taken) {
    ToolStage stage;
    stage.recognised->track = 2;
    stage.recognised->tracks = 3;
    EXPECT_EQ(stage.text("transcribe_file", meeting),
              "[This file has 3 audio tracks. The words are those of track 2.]\n\nHello. There.");
    EXPECT_EQ(stored(stage).at(0).text, "Hello. There.");
}

TEST(TranscribeFile, a_failure_is_one_sentence_and_stores_nothing) {
    ToolStage stage;
    stage.recognised = std::unexpected(
        TranscriptionError{TranscriptionError::UnusableFile{"/home/robin/meeting.m4a", {AudioError::Missing{}}}});
    EXPECT_EQ(stage.refusal("transcribe_file", meeting), "There is no file at '/home/robin/meeting.m4a'.");
    EXPECT_TRUE(stored(stage).empty());
    EXPECT_TRUE(files(stage).empty());
}

TEST(TranscribeFile, a_short_record_has_the_times_of_its_words_and_a_long_one_has_the_words_alone) {
    ToolStage stage;
    stage.recognised->transcript.segments.assign(150, {"word", 0s, 1s});
    const std::string few = stage.text("transcribe_file", meeting);
    EXPECT_EQ(stage.result["segments"]->asArray()->size(), 150U);
    EXPECT_EQ(*stage.result["text"], MCPValue{few});

    // An hour of speech.
    stage.recognised->transcript.segments.assign(9000, {"word", 0s, 1s});
    const std::string text = stage.text("transcribe_file", meeting);
    std::string words = "Word";
    for (int more = 1; more < 9000; ++more) words += " word";
    words += ".";
    EXPECT_EQ(text,
              "[This transcript is long, so the times of its words are left out. The user can print them with the "
              "command: Vostel transcripts 00000000 --format json. If the text below ends early, the whole is in "
              "the file " +
                  files(stage).at(0).string() + "]\n\n" + words);
    EXPECT_EQ(stage.result, MCPValue::object({{"text", text}}))
        << "both forms of the result have the note and all words";
}

TEST(TranscribeFile, cuts_a_very_long_text_and_names_the_file_with_the_whole) {
    ToolStage stage;
    stage.recognised->transcript.segments.assign(
        1250, {std::string(499, 'x'), 0s, 1s}); // with the full stop 625,000 characters
    const std::string text = stage.text("transcribe_file", meeting);
    const std::string path = files(stage).at(0).string();
    const std::size_t words = text.find("]\n\n") + 3;
    EXPECT_TRUE(text.substr(0, words).contains(path));
    EXPECT_EQ(text.substr(words + 500'000),
              "\n\n[TRUNCATED: showing first 500000 of 625000 characters.] Full transcript saved at: " + path);
    EXPECT_EQ(stage.result, MCPValue::object({{"text", text}}));
    EXPECT_EQ(readFile(path).size(), 625'001U);
    EXPECT_EQ(stored(stage).at(0).segments.size(), 1250U);
}

TEST(TranscribeFile, a_result_stays_small_however_long_the_characters_are) {
    ToolStage stage;
    std::string accents = "a";
    while (accents.size() < 4000) accents += "\u0301";
    const VocabularyRule rules[] = {{"a", accents}};
    addRules(stage, rules);
    stage.recognised->transcript.segments.assign(1500, {"a", 0s, 1s}); // 6 MB, which are in the result twice
    const MCPToolOutcome outcome = stage.run("transcribe_file", meeting);
    EXPECT_LE(resultSize(outcome), largestResult);
    const auto& done = std::get<MCPToolOutcome::Text>(outcome.is);
    EXPECT_TRUE(done.text.contains(" of 3000 characters.] Full transcript saved at: "));
    EXPECT_GT(done.text.size(), 500U * 4000);
}

TEST(TranscribeFile, returns_the_words_even_if_nothing_can_be_stored) {
    ToolStage stage;
    writeFile(stage.paths.database(), "This is a text of some length. It is not a database, but it has the same path.");
    writeFile(stage.paths.transcripts(), "a file where a folder should be");
    const std::string text = stage.text("transcribe_file", meeting);
    EXPECT_EQ(text,
              "[The vocabulary was not applied, and the transcript was not stored. Vostel's database " +
                  stage.paths.database().string() +
                  " is damaged (file is not a database); nothing in it was changed, please restore it from a backup or "
                  "move it away.]\n\n[The transcript was not saved as a file. Vostel could not create the "
                  "folder '" +
                  stage.paths.transcripts().string() + "': Not a directory.]\n\nHello. There.");
    EXPECT_EQ(*stage.result["text"], MCPValue{text}) << "some clients show the model only the structured result";

    stage.recognised->transcript.segments.assign(9000, {"word", 0s, 1s});
    EXPECT_TRUE(
        stage.text("transcribe_file", meeting)
            .starts_with("[This transcript is long, so the times of its words are left out.]\n\n[The vocabulary "))
        << "neither a command nor a file can help";
}

TEST(TranscribeFile, says_that_a_long_text_could_not_be_saved) {
    ToolStage stage;
    writeFile(stage.paths.transcripts(), "a file where a folder should be");
    stage.recognised->transcript.segments.assign(1250, {std::string(499, 'x'), 0s, 1s});
    EXPECT_TRUE(stage.text("transcribe_file", meeting)
                    .contains("[TRUNCATED: showing first 500000 of 625000 characters.] Full transcript was not yet "
                              "saved to disk."));
}

TEST(TranscriptFile, has_a_readable_name_for_every_source) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    struct Row {
        const char* when;
        TranscriptSource source;
        std::string name;
    };
    const auto file = TranscriptSource::Kind::file;
    const auto link = TranscriptSource::Kind::link;
    const Row rows[] = {
        {"a file", {file, "/a/b c.m4a"}, "2026-08-30 14.05 b c.m4a 00000000.txt"},
        {"a link", {link, "https://youtu.be/x?t=1&a=b"}, "2026-08-30 14.05 youtu.be-x-t=1&a=b 00000000.txt"},
        {"the parent folder", {file, ".."}, "2026-08-30 14.05 .. 00000000.txt"},
        {"control characters", {file, "/a\nb\x1b[2J.wav"}, "2026-08-30 14.05 a-b-[2J.wav 00000000.txt"},
        {"not UTF-8", {file, "/\xFF.wav"}, "2026-08-30 14.05 \uFFFD.wav 00000000.txt"},
        {"a very long name",
         {file, "/" + std::string(119, 'a') + "éé"},
         "2026-08-30 14.05 " + std::string(119, 'a') + " 00000000.txt"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(transcriptFileName(testBegins, titleOf(row.source), uuid(7)), row.name);
    });
}

TEST(TranscribeURL, transcribes_the_audio_of_the_link) {
    ToolStage stage;
    EXPECT_EQ(stage.text("transcribe_url", video), "Hello. There.");
    EXPECT_EQ(stage.downloaded,
              (std::vector<AllowedLink>{{"https://youtu.be/abc?t=1", {"youtu.be", stage.addresses}}}));
    EXPECT_EQ(std::filesystem::path{stage.transcribed.at(0).first}.filename(), "audio.webm");
    EXPECT_TRUE(std::filesystem::is_empty(stage.paths.downloads())) << "the downloaded file is deleted";
    EXPECT_EQ(stage.progress, (std::vector<Progress>{{0.125, "Downloading the audio, 50% done"},
                                                     {0.25, "Downloading the audio, 100% done"},
                                                     {1.0, "Transcribing 0:02 of 0:02"}}));
    const auto all = stored(stage);
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].summary.source, (TranscriptSource{TranscriptSource::Kind::link, "https://youtu.be/abc?t=1"}));
    EXPECT_TRUE(files(stage).at(0).filename().string().ends_with(" youtu.be-abc-t=1 00000000.txt"));
}

TEST(TranscribeURL, each_refused_link_has_a_sentence_of_its_own) {
    struct Row {
        const char* when;
        const char* url;
        std::vector<std::string> addresses;
        const char* sentence;
    };
    const char* scheme = "Vostel opens encrypted links only, which begin with https.";
    const char* host =
        "Vostel opens a link only if it is a valid URL whose host is youtube.com, a subdomain of youtube.com, "
        "or youtu.be.";
    const Row rows[] = {
        {"nothing", "", {}, scheme},
        {"an option", "--exec=reboot", {}, scheme},
        {"unencrypted", "http://youtu.be/abc", {}, scheme},
        {"a file", "file:///etc/passwd", {}, scheme},
        {"another host", "https://example.com/", {}, host},
        {"not a URL", "https://www.youtube.com/\\abc", {}, host},
        {"a host that looks like a user name", "https://youtube.com@example.com/", {}, host},
        {"a host without an address",
         "https://youtu.be/abc",
         {},
         "The address of the link's host could not be found; please check the link and the network connection."},
        {"a private address",
         "https://youtu.be/abc",
         {"8.8.8.8", "192.168.1.1"},
         "The link's host has an address inside a private network, so Vostel does not open the link."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ToolStage stage;
        stage.addresses = row.addresses;
        EXPECT_EQ(stage.refusal("transcribe_url", MCPValue::object({{"url", row.url}})), row.sentence);
        EXPECT_TRUE(stage.downloaded.empty());
    });
}

TEST(TranscribeURL, refuses_an_unknown_language_before_downloading) {
    ToolStage stage;
    EXPECT_EQ(stage.refusal("transcribe_url", MCPValue::object({{"url", "https://youtu.be/a"}, {"language", "?"}})),
              "The language '?' is unknown; pass an ISO 639-1 code such as 'en', or leave it out.");
    EXPECT_TRUE(stage.resolved.empty());
}

TEST(TranscribeURL, failures_name_the_link_and_not_the_downloaded_file) {
    ToolStage stage;
    stage.recognised =
        std::unexpected(TranscriptionError{TranscriptionError::UnusableFile{"/x", {AudioError::NotAudio{}}}});
    EXPECT_EQ(stage.refusal("transcribe_url", video),
              "'https://youtu.be/abc?t=1' is not an audio or video file that Vostel can read.");
    stage.downloadFailure = DownloadError{DownloadError::DownloaderMissing{}};
    EXPECT_EQ(stage.refusal("transcribe_url", video),
              "Transcribing links needs the program yt-dlp, which is not installed on this computer.");
}

} // namespace vostel_companion
