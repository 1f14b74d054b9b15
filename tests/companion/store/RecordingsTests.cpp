#include "companion/store/Recordings.h"
#include "tests/companion/store/StoreFixture.h"
#include "tests/support/Table.h"

#include <limits>

namespace vostel_companion {

namespace {

using State = RecordingSummary::State;
using Track = RecordingLine::Track;
using VostelMCPKit::UUID;

const std::vector<RecordingLine> spokenLines = {
    {Track::system, "Others", "hello", Seconds{1}, Seconds{2}},
    {Track::microphone, "Me", "good morning", Seconds{0}, Seconds{1}},
    {Track::system, "Others", "how are you", Seconds{2.5}, Seconds{4}},
};

RecordingSummary summary(Recordings& recordings, const UUID& id) {
    auto found = recordings.find(id);
    EXPECT_TRUE(found && *found);
    return (*found)->summary;
}

/// Brings a new recording into `state`.
void make(Recordings& recordings, const UUID& id, State state) {
    ASSERT_TRUE(recordings.begin(id, at(0)));
    if (state == State::recording) return;
    ASSERT_EQ(recordings.beginTranscribing(id, Seconds{4}), true);
    if (state == State::ready) {
        ASSERT_EQ(recordings.finish(id, "en", spokenLines), true);
    } else if (state == State::failed) {
        ASSERT_EQ(recordings.fail(id, "The disk was full."), true);
    }
}

} // namespace

TEST(Recordings, a_call_goes_from_recording_to_ready) {
    Database database = openInMemory();
    Recordings recordings{database};
    ASSERT_TRUE(recordings.begin(uuid(1), at(5)));
    EXPECT_EQ(summary(recordings, uuid(1)),
              (RecordingSummary{uuid(1), at(5), {}, State::recording, {}, {}, {}, 0, ""}));

    ASSERT_EQ(recordings.beginTranscribing(uuid(1), Seconds{4}), true);
    EXPECT_EQ(summary(recordings, uuid(1)),
              (RecordingSummary{uuid(1), at(5), Seconds{4}, State::transcribing, {}, 0.0, {}, 0, ""}));

    ASSERT_EQ(recordings.reportProgress(uuid(1), 0.5), true);
    EXPECT_EQ(summary(recordings, uuid(1)).progress, 0.5);

    ASSERT_EQ(recordings.finish(uuid(1), "en", spokenLines), true);
    EXPECT_EQ(summary(recordings, uuid(1)), (RecordingSummary{uuid(1),
                                                              at(5),
                                                              Seconds{4},
                                                              State::ready,
                                                              {},
                                                              {},
                                                              "en",
                                                              3,
                                                              "Me: good morning\nOthers: hello\nOthers: how are you"}));
}

TEST(Recordings, lines_are_in_the_order_in_which_they_were_spoken) {
    Database database = openInMemory();
    Recordings recordings{database};
    make(recordings, uuid(1), State::ready);
    const auto found = recordings.find(uuid(1));
    ASSERT_TRUE(found && *found);
    EXPECT_EQ((*found)->lines, (std::vector{spokenLines[1], spokenLines[0], spokenLines[2]}));
    EXPECT_EQ(plainText((*found)->lines), "Me: good morning\nOthers: hello\nOthers: how are you");
}

TEST(Recordings, a_call_in_which_nobody_spoke_is_ready) {
    Database database = openInMemory();
    Recordings recordings{database};
    ASSERT_TRUE(recordings.begin(uuid(1), at(0)));
    ASSERT_EQ(recordings.beginTranscribing(uuid(1), Seconds{4}), true);
    ASSERT_EQ(recordings.finish(uuid(1), std::nullopt, {}), true);
    EXPECT_EQ(summary(recordings, uuid(1)).state, State::ready);
    EXPECT_EQ(summary(recordings, uuid(1)).lineCount, 0);
    EXPECT_EQ(plainText({}), "");
}

TEST(Recordings, a_failure_keeps_its_reason_and_no_progress) {
    Database database = openInMemory();
    Recordings recordings{database};
    make(recordings, uuid(1), State::failed);
    EXPECT_EQ(summary(recordings, uuid(1)),
              (RecordingSummary{uuid(1), at(0), Seconds{4}, State::failed, "The disk was full.", {}, {}, 0, ""}));
}

TEST(Recordings, a_change_that_does_not_fit_the_state_changes_nothing) {
    struct Row {
        const char* when;
        State state;
        std::expected<bool, DatabaseError> (*change)(Recordings&, const UUID&);
    };
    const auto transcribe = [](Recordings& recordings, const UUID& id) {
        return recordings.beginTranscribing(id, Seconds{9});
    };
    const auto progress = [](Recordings& recordings, const UUID& id) { return recordings.reportProgress(id, 0.9); };
    const auto finish = [](Recordings& recordings, const UUID& id) { return recordings.finish(id, "de", {}); };
    const auto fail = [](Recordings& recordings, const UUID& id) { return recordings.fail(id, "late"); };
    const Row rows[] = {
        {"progress while recording", State::recording, progress},
        {"finished while recording", State::recording, finish},
        {"transcribing begun twice", State::transcribing, transcribe},
        {"transcribing begun when ready", State::ready, transcribe},
        {"progress when ready", State::ready, progress},
        {"finished twice", State::ready, finish},
        {"failed when ready", State::ready, fail},
        {"failed twice", State::failed, fail},
        {"finished when failed", State::failed, finish},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Database database = openInMemory();
        Recordings recordings{database};
        ASSERT_NO_FATAL_FAILURE(make(recordings, uuid(1), row.state));
        const auto before = recordings.find(uuid(1));
        EXPECT_EQ(row.change(recordings, uuid(1)), false);
        EXPECT_EQ(recordings.find(uuid(1)), before);
        EXPECT_EQ(row.change(recordings, uuid(2)), false);
    });
}

TEST(Recordings, progress_stays_between_0_and_1) {
    Database database = openInMemory();
    Recordings recordings{database};
    make(recordings, uuid(1), State::transcribing);
    ASSERT_EQ(recordings.reportProgress(uuid(1), 1.5), true);
    EXPECT_EQ(summary(recordings, uuid(1)).progress, 1.0);
    ASSERT_EQ(recordings.reportProgress(uuid(1), -1), true);
    EXPECT_EQ(summary(recordings, uuid(1)).progress, 0.0);
    EXPECT_EQ(recordings.reportProgress(uuid(1), std::numeric_limits<double>::quiet_NaN()), true);
    EXPECT_EQ(summary(recordings, uuid(1)).progress, 0.0);
}

TEST(Recordings, after_a_crash_only_recordings_that_nobody_works_on_are_marked_as_failed) {
    Database database = openInMemory();
    Recordings recordings{database};
    make(recordings, uuid(1), State::recording);
    make(recordings, uuid(2), State::transcribing);
    make(recordings, uuid(3), State::ready);
    make(recordings, uuid(4), State::transcribing);
    const auto isWorkedOn = [](const UUID& id) { return id == uuid(4); };
    EXPECT_EQ(recordings.failAbandoned(isWorkedOn, "Vostel was stopped."), 2U);
    EXPECT_EQ(summary(recordings, uuid(1)).state, State::failed);
    EXPECT_EQ(summary(recordings, uuid(2)).failureReason, "Vostel was stopped.");
    EXPECT_EQ(summary(recordings, uuid(3)).state, State::ready);
    EXPECT_EQ(summary(recordings, uuid(4)).state, State::transcribing);
}

TEST(Recordings, the_preview_is_the_opening_lines) {
    Database database = openInMemory();
    Recordings recordings{database};
    ASSERT_TRUE(recordings.begin(uuid(1), at(0)));
    ASSERT_EQ(recordings.beginTranscribing(uuid(1), Seconds{4}), true);
    const RecordingLine longLine{Track::microphone, "Me", std::string(500, 'a'), Seconds{0}, Seconds{1}};
    ASSERT_EQ(recordings.finish(uuid(1), "en", {longLine, longLine}), true);
    EXPECT_EQ(summary(recordings, uuid(1)).preview, "Me: " + std::string(196, 'a'));
}

TEST(Recordings, a_turn_is_one_line_of_the_text) {
    Database database = openInMemory();
    Recordings recordings{database};
    ASSERT_TRUE(recordings.begin(uuid(1), at(0)));
    ASSERT_EQ(recordings.beginTranscribing(uuid(1), Seconds{4}), true);
    ASSERT_EQ(recordings.finish(uuid(1), "en", {{Track::microphone, "Me", "a\nOthers: b", Seconds{0}, Seconds{1}}}),
              true);
    EXPECT_EQ(summary(recordings, uuid(1)).preview, "Me: a Others: b");
}

TEST(Recordings, the_newest_come_first) {
    Database database = openInMemory();
    Recordings recordings{database};
    ASSERT_TRUE(recordings.begin(uuid(1), at(1)));
    ASSERT_TRUE(recordings.begin(uuid(2), at(3)));
    ASSERT_TRUE(recordings.begin(uuid(3), at(2)));
    const auto page = recordings.list({2, {}, {}});
    ASSERT_TRUE(page);
    ASSERT_EQ(page->entries.size(), 2U);
    EXPECT_EQ(page->entries[0].id, uuid(2));
    EXPECT_EQ(page->entries[1].id, uuid(3));
    EXPECT_EQ(page->totalCount, 3);
}

TEST(Recordings, states_and_tracks_have_the_names_that_the_tools_use) {
    EXPECT_STREQ(name(State::recording), "recording");
    EXPECT_STREQ(name(State::transcribing), "transcribing");
    EXPECT_STREQ(name(State::ready), "ready");
    EXPECT_STREQ(name(State::failed), "failed");
    EXPECT_STREQ(name(Track::microphone), "microphone");
    EXPECT_STREQ(name(Track::system), "system");
}

} // namespace vostel_companion
