#include "companion/store/Recordings.h"
#include "companion/store/Recovery.h"
#include "companion/support/WorkFolder.h"
#include "posix/PrivateFolder.h"
#include "tests/companion/models/ModelFixture.h"

namespace vostel_companion {

namespace {

using State = RecordingSummary::State;

struct Stage {
    ModelFixture fixture;
    Paths paths{fixture.folder / "data"};
    Database database = openInMemory();
    Confirmations confirmations{database, fixture.models, [] { return std::chrono::system_clock::now(); },
                                [] { return uuid(9); }};
    Recordings recordings{database};

    State stateOf(std::uint8_t id) { return recordings.find(uuid(id)).value().value().summary.state; }
};

} // namespace

TEST(Paths, are_in_the_applications_folder) {
    const Paths paths = Paths::in("/home/robin/Library/Application Support");
    const std::string folder = "/home/robin/Library/Application Support/com.vostel.vostel";
    EXPECT_EQ(paths.folder, folder);
    EXPECT_EQ(paths.database(), folder + "/Vostel.sqlite");
    EXPECT_EQ(paths.transcripts(), folder + "/Transcripts");
    EXPECT_EQ(paths.models(), folder + "/Models");
    EXPECT_EQ(paths.catalogue(), folder + "/models.json");
    EXPECT_EQ(paths.downloads(), folder + "/Downloads");
    EXPECT_EQ(paths.lockOfRecording(uuid(1)), folder + "/Recordings/00000000-0000-0000-0000-000000000001.lock");
}

TEST(Recovery, marks_the_recordings_that_nobody_works_on_as_failed) {
    Stage stage;
    ASSERT_TRUE(posix::ensureFolder(stage.paths.unfinishedRecordings()));
    for (std::uint8_t id = 1; id <= 3; ++id) ASSERT_TRUE(stage.recordings.begin(uuid(id), at(id)));
    ASSERT_TRUE(stage.recordings.beginTranscribing(uuid(2), Seconds{1}));
    const auto working =
        posix::FileLock::acquire(stage.paths.lockOfRecording(uuid(1)), posix::FileLock::IfMissing::create);
    ASSERT_TRUE(working);
    { ASSERT_TRUE(posix::FileLock::acquire(stage.paths.lockOfRecording(uuid(2)), posix::FileLock::IfMissing::create)); }
    { ASSERT_TRUE(posix::FileLock::acquire(stage.paths.lockOfRecording(uuid(4)), posix::FileLock::IfMissing::create)); }

    ASSERT_TRUE(recoverAfterCrash(stage.database, stage.paths, stage.confirmations));
    EXPECT_EQ(stage.stateOf(1), State::recording) << "another process works on it";
    EXPECT_EQ(stage.stateOf(2), State::failed);
    EXPECT_EQ(stage.stateOf(3), State::failed) << "it never had a lock";
    EXPECT_EQ(stage.recordings.find(uuid(2)).value()->summary.failureReason,
              "Vostel ended before the recording was transcribed, so its transcript is missing.");
    EXPECT_TRUE(std::filesystem::exists(stage.paths.lockOfRecording(uuid(1))));
    EXPECT_FALSE(std::filesystem::exists(stage.paths.lockOfRecording(uuid(2))));
    EXPECT_TRUE(std::filesystem::exists(stage.paths.lockOfRecording(uuid(4))))
        << "another process is about to store it";
}

TEST(Recovery, performs_confirmed_removals_and_deletes_interrupted_downloads) {
    Stage stage;
    writeFile(stage.paths.downloads() / "abc/audio.webm.part", "half");
    ASSERT_TRUE(stage.fixture.models.install("de", {[](double) {}, [] { return false; }}));
    ASSERT_TRUE(stage.confirmations.ask({ConfirmableAction::RemoveModel{"de"}}));
    ASSERT_TRUE(stage.database.execute("UPDATE confirmations SET decision = 'confirmed'")); // and then a crash
    ASSERT_TRUE(std::filesystem::exists(stage.fixture.installed()));

    ASSERT_TRUE(recoverAfterCrash(stage.database, stage.paths, stage.confirmations));
    EXPECT_FALSE(std::filesystem::exists(stage.fixture.installed()));
    EXPECT_TRUE(std::filesystem::is_empty(stage.paths.downloads()));
}

TEST(Recovery, keeps_the_download_of_another_process) {
    Stage stage;
    const auto download = WorkFolder::make(stage.paths.downloads());
    ASSERT_TRUE(download);
    writeFile(download->path() / "audio.webm.part", "half");
    ASSERT_TRUE(recoverAfterCrash(stage.database, stage.paths, stage.confirmations));
    EXPECT_EQ(vostel_tests::readFile(download->path() / "audio.webm.part"), "half");
}

TEST(Recovery, one_failure_does_not_stop_the_other_steps) {
    Stage stage;
    ASSERT_TRUE(stage.recordings.begin(uuid(1), at(1)));
    writeFile(stage.fixture.folder / "models/.lock/in the way", "a folder where a file should be");
    const auto done = recoverAfterCrash(stage.database, stage.paths, stage.confirmations);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().description(),
              "Vostel could not open '" + (stage.fixture.folder / "models/.lock").string() + "': Is a directory.");
    EXPECT_EQ(stage.stateOf(1), State::failed);
}

} // namespace vostel_companion
