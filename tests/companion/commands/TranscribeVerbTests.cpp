#include "companion/commands/TranscribeVerb.h"
#include "companion/store/Transcripts.h"
#include "tests/companion/commands/VerbFixture.h"

namespace vostel_companion {

namespace {

struct TranscribeVerb : testing::Test, VerbFixture {
    TranscribeVerb() {
        recordings["/home/me/a.wav"] = spokenWords({{0, "hello"}}, 1);
        recordings["/home/me/b.wav"] = spokenWords({{0, "goodbye"}}, 2);
        context.resolve = [](const std::string&) { return std::vector<std::string>{"142.250.1.1"}; };
        context.downloadAudio =
            [this](const AllowedLink& link, Cancellation&,
                   const std::function<void(double)>& progress) -> std::expected<DownloadedAudio, DownloadError> {
            downloaded.push_back(link.url);
            progress(1);
            return DownloadedAudio{WorkFolder::make(models.folder / "downloads").value(), "/home/me/a.wav"};
        };
    }

    Exit transcribe(const std::vector<std::string>& sources) { return run(Command::Transcribe{sources, ""}, context); }
    /// Newest first.
    std::vector<TranscriptSummary> stored() {
        auto store = openStore(context.paths.database());
        return store ? Transcripts{*store}.list({}).value().entries : std::vector<TranscriptSummary>{};
    }

    std::vector<std::string> downloaded;
};

std::string storedAs(std::uint8_t number) {
    const std::string id = uuid(number).text();
    return "Stored as " + id + ". To print it again, run Vostel transcripts " + id.substr(0, 8) + "\n";
}

} // namespace

TEST_F(TranscribeVerb, prints_and_stores_one_file) {
    EXPECT_EQ(transcribe({"a.wav"}), Exit::done);
    EXPECT_EQ(takePrinted(), "Hello.\n");
    EXPECT_EQ(takeErrors(), storedAs(1));
    ASSERT_EQ(stored().size(), 1U);
    EXPECT_EQ(stored()[0].id, uuid(1));
    EXPECT_EQ(stored()[0].source, (TranscriptSource{TranscriptSource::Kind::file, "/home/me/a.wav"}));
}

TEST_F(TranscribeVerb, a_source_that_fails_does_not_stop_the_others) {
    EXPECT_EQ(transcribe({"a.wav", "missing.wav", "https://youtu.be/x", "https://example.com/x", "b.wav"}),
              Exit::failed);
    EXPECT_EQ(takePrinted(), "==> a.wav <==\nHello.\n\n==> https://youtu.be/x <==\nHello.\n\n"
                             "==> b.wav <==\nGoodbye.\n");
    EXPECT_EQ(takeErrors(),
              storedAs(1) + "There is no file at '/home/me/missing.wav'.\n" + storedAs(2) +
                  "Vostel opens a link only if it is a valid URL whose host is youtube.com, a subdomain of "
                  "youtube.com, or youtu.be.\n" +
                  storedAs(3));
    EXPECT_EQ(downloaded, std::vector<std::string>{"https://youtu.be/x"});
    EXPECT_EQ(stored().size(), 3U);
}

TEST_F(TranscribeVerb, ctrl_c_stops_the_rest) {
    duringTranscription = [&] { cancellation.cancel(); };
    EXPECT_EQ(transcribe({"a.wav", "b.wav"}), Exit::failed);
    EXPECT_EQ(takeErrors(), "The transcription was cancelled.\n");
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(languages.size(), 1U);
    EXPECT_TRUE(stored().empty());
}

TEST_F(TranscribeVerb, a_file_without_speech_is_stored_and_reported) {
    recordings["/home/me/silence.wav"] = spokenWords({}, 1);
    EXPECT_EQ(transcribe({"silence.wav"}), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "No speech was found in '/home/me/silence.wav'.\n" + storedAs(1));
    EXPECT_EQ(stored().size(), 1U);
}

TEST_F(TranscribeVerb, the_database_is_not_opened_as_a_recording) {
    ASSERT_TRUE(openStore(context.paths.database()));
    recordings[context.paths.database()] = spokenWords({{0, "hello"}}, 1);
    EXPECT_EQ(transcribe({context.paths.database()}), Exit::failed);
    EXPECT_TRUE(languages.empty());
}

TEST_F(TranscribeVerb, progress_names_the_number_of_the_current_file) {
    std::string screen;
    context.progress = ProgressTerminal{[&](std::string_view text) { screen += text; }, [] { return std::size_t{60}; },
                                        [] { return std::chrono::steady_clock::time_point{}; }};
    EXPECT_EQ(transcribe({"a.wav", "b.wav"}), Exit::done);
    EXPECT_TRUE(screen.contains("Transcribing 1 of 2  [")) << screen;
    EXPECT_TRUE(screen.contains("Transcribing 2 of 2  [")) << screen;
    EXPECT_TRUE(screen.ends_with("\r\x1B[K")) << "the line is cleared";
}

} // namespace vostel_companion
