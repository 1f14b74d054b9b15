#include "companion/store/Dictations.h"
#include "companion/store/Recordings.h"
#include "companion/store/Transcripts.h"
#include "companion/tools/ResultSize.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "tests/companion/support/PlainWords.h"
#include "tests/companion/tools/ToolStage.h"

namespace vostel_companion {

namespace {

constexpr Timestamp noon{std::chrono::milliseconds{1788091200000}}; // 2026-08-30T12:00:00Z

void addTranscript(ToolStage& stage, std::uint8_t id, Timestamp date, const std::string& text,
                   std::vector<TranscriptSegment> segments) {
    Database database = stage.database();
    EXPECT_TRUE(Transcripts{database}.add(uuid(id), {date,
                                                     {TranscriptSource::Kind::file, "/home/robin/meeting.m4a"},
                                                     Seconds{2},
                                                     "en",
                                                     text,
                                                     std::move(segments)}));
}

std::string parsed(const MCPValue& value) {
    Bytes written;
    EXPECT_TRUE(writeJSON(value, written));
    return std::string{written.text()};
}

} // namespace

TEST(ReadingTools, are_denied_until_the_user_turns_reading_on) {
    ToolStage stage;
    for (const char* tool : {"history_list", "transcripts_list", "recordings_list", "recording_get"}) {
        SCOPED_TRACE(tool);
        const MCPValue nonsense = MCPValue::object({{"nonsense", 1}});
        EXPECT_EQ(stage.refusal(tool, nonsense),
                  "This action was denied: the tool is currently disabled (the setting \"Let agents read your history "
                  "and recordings\" is off; only the user can turn it on, in Vostel's settings).");
        EXPECT_TRUE(std::holds_alternative<MCPDenial>(stage.run(tool).is));
    }
    stage.allowReading();
    EXPECT_EQ(stage.text("history_list"), "There are no dictations here.");
    EXPECT_EQ(stage.text("transcripts_list"), "There are no transcripts here.");
    EXPECT_EQ(stage.text("recordings_list"), "There are no recordings here.");
    EXPECT_EQ(parsed(stage.result), R"({"recordings":[],"returnedCount":0,"totalCount":0})");
}

TEST(HistoryList, shows_the_newest_dictations_of_the_window) {
    ToolStage stage;
    stage.allowReading();
    {
        Database database = stage.database();
        Dictations dictations{database};
        EXPECT_TRUE(dictations.add({uuid(1), noon, "first", Dictation::Outcome::delivered, {}, {}, {}}));
        EXPECT_TRUE(
            dictations.add({uuid(2), noon + 1s, "second", Dictation::Outcome::pending, {}, "Mail", Seconds{1.25}}));
        EXPECT_TRUE(dictations.add(
            {uuid(3), noon + 2s, "third", Dictation::Outcome::notDelivered, "No text field.", "Notes", Seconds{3}}));
    }
    EXPECT_EQ(stage.text("history_list", MCPValue::object({{"limit", 2}})),
              "2 of 3 dictations, newest first.\n\n"
              "2026-08-30T12:00:02.000Z · notDelivered · No text field. · Notes · 3.0 s\nthird\n\n"
              "2026-08-30T12:00:01.000Z · pending · Mail · 1.2 s\nsecond");
    EXPECT_EQ(parsed(stage.result),
              R"({"entries":[{"date":"2026-08-30T12:00:02.000Z","duration":3,"failureReason":"No text field.",)"
              R"("outcome":"notDelivered","targetApplication":"Notes","text":"third"},)"
              R"({"date":"2026-08-30T12:00:01.000Z","duration":1.25,"outcome":"pending","targetApplication":"Mail",)"
              R"("text":"second"}],"returnedCount":2,"totalCount":3})");
    EXPECT_EQ(stage.text("history_list", MCPValue::object({{"until", "2026-08-30T12:00:00Z"}})),
              "1 of 1 dictations, newest first.\n\n2026-08-30T12:00:00.000Z · delivered\nfirst");
    EXPECT_EQ(stage.text("history_list", MCPValue::object({{"since", "2026-08-31"}})), "There are no dictations here.");
}

TEST(HistoryList, leaves_out_the_oldest_when_the_result_would_be_too_large) {
    ToolStage stage;
    stage.allowReading();
    {
        Database database = stage.database();
        for (std::uint8_t number = 0; number < 12; ++number)
            EXPECT_TRUE(Dictations{database}.add({uuid(number),
                                                  noon + std::chrono::seconds{number},
                                                  std::string(600'000, 'x'),
                                                  Dictation::Outcome::delivered,
                                                  {},
                                                  {},
                                                  {}}));
    }
    const MCPToolOutcome outcome = stage.run("history_list");
    EXPECT_LE(resultSize(outcome), largestResult);
    const MCPValue structured = std::get<MCPToolOutcome::Text>(outcome.is).structured.value();
    const auto entries = structured["entries"]->asArray().value();
    EXPECT_GE(entries.size(), 7U);
    EXPECT_LT(entries.size(), 11U);
    EXPECT_EQ(*structured["returnedCount"], MCPValue{entries.size()});
    EXPECT_EQ(*structured["totalCount"], MCPValue{12});
    EXPECT_EQ(*entries[0]["date"], MCPValue{"2026-08-30T12:00:11.000Z"});
    EXPECT_TRUE(entries[0]["text"]->asString()->ends_with(
        "xx\n\n[TRUNCATED: showing first 500000 of 600000 characters.] Full transcript was not yet saved to disk."));
}

TEST(TranscriptsList, shows_summaries_and_one_transcript_in_full) {
    ToolStage stage;
    stage.allowReading();
    addTranscript(stage, 1, noon, "hello there", {{"hello", 0s, Seconds{0.41}}, {"there", Seconds{0.5}, 1s}});
    addTranscript(stage, 2, noon + 1s, "", {});
    EXPECT_EQ(stage.text("transcripts_list"),
              "2 of 2 transcripts, newest first.\n\n"
              "2026-08-30T12:00:01.000Z · /home/robin/meeting.m4a · 2.0 s · en · 0 characters · id "
              "00000000-0000-0000-0000-000000000002\n\n\n"
              "2026-08-30T12:00:00.000Z · /home/robin/meeting.m4a · 2.0 s · en · 11 characters · id "
              "00000000-0000-0000-0000-000000000001\nhello there");
    const auto entries = stage.result["entries"]->asArray().value();
    EXPECT_EQ(parsed(entries[1]),
              R"({"characterCount":11,"date":"2026-08-30T12:00:00.000Z","duration":2,)"
              R"("id":"00000000-0000-0000-0000-000000000001","language":"en","preview":"hello there",)"
              R"("source":{"kind":"file","value":"/home/robin/meeting.m4a"}})");

    EXPECT_EQ(stage.text("transcripts_list", MCPValue::object({{"id", uuid(1).text()}})),
              "2026-08-30T12:00:00.000Z · /home/robin/meeting.m4a · 2.0 s · en · 11 characters · id "
              "00000000-0000-0000-0000-000000000001\nhello there");
    EXPECT_EQ(parsed(stage.result),
              R"({"entries":[{"characterCount":11,"date":"2026-08-30T12:00:00.000Z","duration":2,)"
              R"("id":"00000000-0000-0000-0000-000000000001","language":"en",)"
              R"("segments":[{"endTime":0.41,"startTime":0},{"endTime":1,"startTime":0.5}],)"
              R"("source":{"kind":"file","value":"/home/robin/meeting.m4a"},"text":"hello there"}],)"
              R"("returnedCount":1,"totalCount":1})");
    EXPECT_FALSE(std::filesystem::exists(stage.paths.transcripts())) << "a short transcript is not saved again";
}

TEST(TranscriptsList, saves_a_long_transcript_that_it_has_to_cut) {
    ToolStage stage;
    stage.allowReading();
    std::vector<TranscriptSegment> segments(1500, {std::string(499, 'x'), 0s, 1s});
    addTranscript(stage, 1, noon, vostel_tests::plainWords(segments), segments);
    std::string text = stage.text("transcripts_list", MCPValue::object({{"id", uuid(1).text()}}));
    const std::size_t mark = text.find(" Full transcript saved at: ");
    ASSERT_NE(mark, std::string::npos);
    EXPECT_TRUE(text.substr(0, mark).ends_with("[TRUNCATED: showing first 500000 of 749999 characters.]"));
    EXPECT_EQ(readFile(text.substr(mark + 27)), vostel_tests::plainWords(segments) + "\n");
    const MCPValue entry = (*stage.result["entries"]->asArray())[0];
    EXPECT_EQ(entry["segments"], nullptr);
    EXPECT_TRUE(text.ends_with("\n" + std::string{entry["text"]->asString().value()}));
    EXPECT_TRUE(entry["text"]->asString()->starts_with(
        "[This transcript is long, so the times of its words are left out. The user can print them with the command: "
        "Vostel transcripts 00000000 --format json. If the text below ends early, the whole is in the file "));
}

TEST(ReadingTools, say_in_both_forms_that_nothing_was_said) {
    ToolStage stage;
    stage.allowReading();
    addTranscript(stage, 1, noon, "", {});
    {
        Database database = stage.database();
        Recordings recordings{database};
        EXPECT_TRUE(recordings.begin(uuid(2), noon));
        EXPECT_TRUE(recordings.beginTranscribing(uuid(2), Seconds{20}));
        EXPECT_TRUE(recordings.finish(uuid(2), "en", {}));
    }
    const std::string noTranscript = "[No speech was found in '/home/robin/meeting.m4a'.]";
    EXPECT_TRUE(stage.text("transcripts_list", MCPValue::object({{"id", uuid(1).text()}})).ends_with(noTranscript));
    EXPECT_EQ(*(*stage.result["entries"]->asArray())[0]["text"], MCPValue{noTranscript});
    EXPECT_TRUE(stage.text("recording_get", MCPValue::object({{"id", uuid(2).text()}}))
                    .ends_with("[No speech was found in this call.]"));
    EXPECT_EQ(*stage.result["text"], MCPValue{"[No speech was found in this call.]"});
    EXPECT_EQ(stage.result["lines"]->asArray()->size(), 0U);
}

TEST(RecordingTools, show_a_recording_in_each_of_its_states) {
    ToolStage stage;
    stage.allowReading();
    {
        Database database = stage.database();
        Recordings recordings{database};
        for (std::uint8_t number = 1; number <= 4; ++number)
            EXPECT_TRUE(recordings.begin(uuid(number), noon + std::chrono::seconds{number}));
        EXPECT_TRUE(recordings.fail(uuid(2), "The microphone was unplugged."));
        EXPECT_TRUE(recordings.beginTranscribing(uuid(3), Seconds{10}));
        EXPECT_TRUE(recordings.reportProgress(uuid(3), 0.25));
        EXPECT_TRUE(recordings.beginTranscribing(uuid(4), Seconds{20}));
        EXPECT_TRUE(recordings.finish(uuid(4), "en",
                                      {{RecordingLine::Track::microphone, "Me", "good morning", 0s, Seconds{1.2345}},
                                       {RecordingLine::Track::system, "Others", "hello", 2s, 3s}}));
    }
    EXPECT_EQ(stage.text("recordings_list"),
              "4 of 4 recordings, newest first.\n\n"
              "2026-08-30T12:00:04.000Z · 20.0 s · ready · en · 2 turns · id 00000000-0000-0000-0000-000000000004\n"
              "Me: good morning\nOthers: hello\n\n"
              "2026-08-30T12:00:03.000Z · 10.0 s · transcribing · 0 turns · id 00000000-0000-0000-0000-000000000003\n"
              "\n\n"
              "2026-08-30T12:00:02.000Z · failed · The microphone was unplugged. · 0 turns · id "
              "00000000-0000-0000-0000-000000000002\n\n\n"
              "2026-08-30T12:00:01.000Z · recording · 0 turns · id 00000000-0000-0000-0000-000000000001\n");
    EXPECT_EQ(parsed(stage.result),
              R"({"recordings":[{"duration":20,"id":"00000000-0000-0000-0000-000000000004","language":"en",)"
              R"("lineCount":2,"preview":"Me: good morning\nOthers: hello","startedAt":"2026-08-30T12:00:04.000Z",)"
              R"("state":"ready"},{"duration":10,"id":"00000000-0000-0000-0000-000000000003","lineCount":0,)"
              R"("preview":"","progress":0.25,"startedAt":"2026-08-30T12:00:03.000Z","state":"transcribing"},)"
              R"({"failureReason":"The microphone was unplugged.","id":"00000000-0000-0000-0000-000000000002",)"
              R"("lineCount":0,"preview":"","startedAt":"2026-08-30T12:00:02.000Z","state":"failed"},)"
              R"({"id":"00000000-0000-0000-0000-000000000001","lineCount":0,"preview":"",)"
              R"("startedAt":"2026-08-30T12:00:01.000Z","state":"recording"}],"returnedCount":4,"totalCount":4})");

    EXPECT_EQ(stage.text("recording_get", MCPValue::object({{"id", uuid(4).text()}})),
              "2026-08-30T12:00:04.000Z · 20.0 s · ready · en · 2 turns · id 00000000-0000-0000-0000-000000000004\n"
              "Me: good morning\nOthers: hello");
    EXPECT_EQ(parsed(stage.result),
              R"({"duration":20,"id":"00000000-0000-0000-0000-000000000004","language":"en","lines":[)"
              R"({"endTime":1.235,"speaker":"Me","startTime":0,"text":"good morning","track":"microphone"},)"
              R"({"endTime":3,"speaker":"Others","startTime":2,"text":"hello","track":"system"}],)"
              R"("startedAt":"2026-08-30T12:00:04.000Z","state":"ready","text":"Me: good morning\nOthers: hello"})");
    EXPECT_EQ(stage.text("recording_get", MCPValue::object({{"id", uuid(1).text()}})),
              "2026-08-30T12:00:01.000Z · recording · 0 turns · id 00000000-0000-0000-0000-000000000001\n");
}

TEST(RecordingGet, cuts_a_long_text_and_saves_the_whole) {
    ToolStage stage;
    stage.allowReading();
    {
        Database database = stage.database();
        Recordings recordings{database};
        EXPECT_TRUE(recordings.begin(uuid(1), noon));
        EXPECT_TRUE(recordings.beginTranscribing(uuid(1), Seconds{20}));
        EXPECT_TRUE(recordings.finish(
            uuid(1), "en",
            std::vector<RecordingLine>(1000, {RecordingLine::Track::system, "Others", std::string(991, 'x'), 0s, 1s})));
    }
    const std::string text = stage.text("recording_get", MCPValue::object({{"id", uuid(1).text()}}));
    const std::size_t mark = text.find(" Full transcript saved at: ");
    ASSERT_NE(mark, std::string::npos);
    EXPECT_TRUE(text.substr(0, mark).ends_with("[TRUNCATED: showing first 500000 of 999999 characters.]"));
    EXPECT_EQ(readFile(text.substr(mark + 27)).size(), 1'000'000U);
    EXPECT_EQ(stage.result["lines"], nullptr) << "the text has the turns";
    EXPECT_TRUE(stage.result["text"]->asString()->starts_with("[This transcript is long, so "));
    EXPECT_TRUE(text.ends_with("\n" + std::string{stage.result["text"]->asString().value()}));
}

} // namespace vostel_companion
