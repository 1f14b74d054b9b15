// Kills the real program while it works, checks what it left, and starts it again.
#include "companion/models/SHA256.h"
#include "companion/store/Recordings.h"
#include "companion/store/Schema.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/Paths.h"
#include "tests/companion/support/Application.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <random>
#include <thread>

namespace vostel_companion {

using namespace std::chrono_literals;
using namespace VostelMCPKit;
using vostel_tests::Application;
using vostel_tests::connected;
using vostel_tests::isFailure;
using vostel_tests::spoken;
using vostel_tests::supportIn;
using vostel_tests::TemporaryFolder;
using vostel_tests::textOf;

namespace {

/// The answer to one call.
std::optional<MCPWireResponse> call(const TemporaryFolder& home, std::string_view tool, const MCPValue& arguments) {
    const auto client = connected(home.path());
    client->request(tool, arguments);
    return client->response();
}

MCPValue path(const std::filesystem::path& file) { return MCPValue::object({{"path", file.string()}}); }

const MCPValue german = MCPValue::object({{"identifier", "de"}});

/// Opens the database that the killed program left, after a check of its integrity.
Database intactDatabase(const TemporaryFolder& home) {
    auto database = openStore(Paths::in(supportIn(home.path())).database().string());
    if (!database) {
        ADD_FAILURE() << database.error().description();
        std::abort();
    }
    const auto sound = checkIntegrity(*database);
    EXPECT_TRUE(sound) << sound.error().description();
    return *std::move(database);
}

std::size_t numberOfFiles(const std::filesystem::path& folder) {
    std::error_code missing;
    const std::filesystem::directory_iterator files{folder, missing};
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

/// The size of a model whose installation takes long enough to be interrupted.
constexpr int longInMB = 200;

/// Describes a model of this size in a sparse file.
void writeCatalogue(const TemporaryFolder& home, int sizeInMB) {
    const std::filesystem::path source = home.path() / "model.bin";
    vostel_tests::writeFile(source, "");
    std::filesystem::resize_file(source, static_cast<std::uintmax_t>(sizeInMB) << 20);
    SHA256 sum;
    const std::string megabyte(1 << 20, '\0');
    for (int piece = 0; piece < sizeInMB; ++piece) sum.add(megabyte);
    vostel_tests::writeFile(Paths::in(supportIn(home.path())).catalogue(),
                            R"({"models":[{"identifier":"de","displayName":"German","source":")" + source.string() +
                                R"(","sha256":")" + sum.finish() + R"("}]})");
    std::filesystem::permissions(Paths::in(supportIn(home.path())).folder, std::filesystem::perms::owner_all);
}

} // namespace

TEST(ApplicationCrash, every_acknowledged_rule_survives) {
    const TemporaryFolder home;
    std::mt19937 random{20260830};
    std::vector<std::string> acknowledged;
    int number = 0;
    for (int round = 0; round < 8; ++round) {
        SCOPED_TRACE(round);
        Application application{home.path()};
        ASSERT_TRUE(connected(home.path())->connected());
        // Each round kills at a different moment.
        const std::size_t enough = acknowledged.size() + std::uniform_int_distribution<std::size_t>{1, 6}(random);
        const auto delay = std::chrono::microseconds{std::uniform_int_distribution{0, 5000}(random)};
        std::thread killer;
        while (true) {
            const std::string word = "word" + std::to_string(number++);
            vostel_tests::CompanionClient client{supportIn(home.path())};
            if (!client.connected()) break;
            const MCPValue rule = MCPValue::object({{"word", word}, {"replacement", "x"}});
            client.request("vocabulary_add", MCPValue::object({{"rules", MCPValue::array({rule})}}));
            const auto answer = client.response();
            if (!answer) break;
            EXPECT_EQ(textOf(answer), "1 outcome.\nadded: " + word + " → x");
            acknowledged.push_back(word);
            if (acknowledged.size() != enough) continue;
            killer = std::thread{[&] {
                std::this_thread::sleep_for(delay);
                application.signal(SIGKILL);
            }};
        }
        ASSERT_TRUE(killer.joinable()) << "it ended before it was killed";
        killer.join();
        EXPECT_EQ(application.exitStatus(), -SIGKILL);

        Database database = intactDatabase(home);
        const auto rules = Vocabulary{database}.list();
        ASSERT_TRUE(rules);
        for (const std::string& word : acknowledged)
            EXPECT_NE(std::ranges::find(*rules, word, &VocabularyRule::word), rules->end()) << word;
    }
}

TEST(ApplicationCrash, a_transcript_is_stored_completely_or_not_at_all) {
    const TemporaryFolder home;
    const auto transcripts = Paths::in(supportIn(home.path())).transcripts();
    {
        // Long enough that the work does not end before the signal, even if this process must wait for a processor.
        const auto sentence = vostel_tests::samplesOf(spoken("0930"));
        std::vector<std::int16_t> samples;
        while (samples.size() < 16'000U * 120) samples.insert(samples.end(), sentence.begin(), sentence.end());
        vostel_tests::writeFile(home.path() / "long.wav", vostel_tests::wav(samples, 16'000));

        Application application{home.path()};
        const auto client = connected(home.path());
        client->request("transcribe_file", path(home.path() / "long.wav"));
        ASSERT_TRUE(client->next()) << "the first progress";
        application.signal(SIGKILL);
        EXPECT_FALSE(client->response());
        EXPECT_EQ(application.exitStatus(), -SIGKILL);
        Database database = intactDatabase(home);
        EXPECT_EQ(Transcripts{database}.list({})->totalCount, 0);
        EXPECT_EQ(numberOfFiles(transcripts), 0U);
    }
    {
        Application application{home.path()};
        EXPECT_EQ(textOf(call(home, "transcribe_file", path(spoken("0930")))),
                  "He might even have been made amiable himself.");
        // The call was answered, so the rule must be on the disk.
        application.signal(SIGKILL);
        EXPECT_EQ(application.exitStatus(), -SIGKILL);
    }
    Database database = intactDatabase(home);
    const auto stored = Transcripts{database}.list({});
    ASSERT_EQ(stored->entries.size(), 1U);
    EXPECT_EQ(Transcripts{database}.find(stored->entries[0].id).value()->segments.size(), 8U);
    EXPECT_EQ(numberOfFiles(transcripts), 1U);
}

TEST(ApplicationCrash, a_repeated_transcription_continues_where_the_killed_one_stopped) {
    // Six utterances of a second.
    std::vector<std::int16_t> samples;
    for (int utterance = 0; utterance < 6; ++utterance) {
        auto beginning = vostel_tests::samplesOf(spoken("0930"));
        beginning.resize(16'000);
        samples.insert(samples.end(), beginning.begin(), beginning.end());
        samples.resize(samples.size() + 16'000 * 2);
    }
    const TemporaryFolder home;
    const auto recording = home.path() / "meeting.wav";
    vostel_tests::writeFile(recording, vostel_tests::wav(samples, 16'000));
    const auto folder = Paths::in(supportIn(home.path())).recognised();
    const auto kept = [&] {
        std::size_t count = 0;
        std::error_code missing;
        for (const auto& file : std::filesystem::directory_iterator{folder, missing}) {
            const std::string lines = vostel_tests::readFile(file.path());
            for (std::size_t at = lines.find("\"start\""); at != std::string::npos;
                 at = lines.find("\"start\"", at + 1)) {
                ++count;
            }
        }
        return count;
    };
    {
        Application application{home.path()};
        const auto client = connected(home.path());
        client->request("transcribe_file", path(recording));
        const auto giveUp = std::chrono::steady_clock::now() + 120s;
        while (kept() == 0 && std::chrono::steady_clock::now() < giveUp) std::this_thread::sleep_for(5ms);
        application.signal(SIGKILL);
        EXPECT_EQ(application.exitStatus(), -SIGKILL);
        EXPECT_GT(kept(), 0U);
    }
    const Application application{home.path()};
    const std::string text = textOf(call(home, "transcribe_file", path(recording)));
    const std::string paragraph = text.substr(0, text.find("\n\n"));
    EXPECT_TRUE(paragraph.starts_with("He might ")) << text;
    std::string whole = paragraph;
    for (int more = 1; more < 6; ++more) whole += "\n\n" + paragraph;
    EXPECT_EQ(text, whole);
    EXPECT_EQ(kept(), 6U) << "no utterance was recognised twice";
}

TEST(ApplicationCrash, a_killed_installation_leaves_nothing_and_can_be_repeated) {
    const TemporaryFolder home;
    writeCatalogue(home, longInMB);
    const auto models = Paths::in(supportIn(home.path())).models();
    {
        Application application{home.path()};
        const auto client = connected(home.path());
        client->request("model_install", german);
        ASSERT_TRUE(client->next()) << "the first progress";
        application.signal(SIGKILL);
        EXPECT_EQ(application.exitStatus(), -SIGKILL);
        EXPECT_EQ(numberOfFiles(models / ".staging"), 1U);
        EXPECT_FALSE(std::filesystem::exists(models / "de"));
    }
    const Application application{home.path()};
    ASSERT_FALSE(isFailure(call(home, "models_list", MCPValue::object({})))) << "it recovers before it answers";
    EXPECT_EQ(numberOfFiles(models / ".staging"), 0U);
    EXPECT_EQ(textOf(call(home, "model_install", german)), "The model de is installed.");
    EXPECT_EQ(std::filesystem::file_size(models / "de/model.bin"), std::uintmax_t{longInMB} << 20);
}

TEST(ApplicationCrash, a_termination_signal_cancels_an_installation) {
    const TemporaryFolder home;
    writeCatalogue(home, longInMB);
    Application application{home.path()};
    const auto client = connected(home.path());
    client->request("model_install", german);
    ASSERT_TRUE(client->next()) << "the first progress";
    application.signal(SIGTERM);
    EXPECT_EQ(textOf(client->response()), "The installation was cancelled; nothing was installed.");
    EXPECT_EQ(application.exitStatus(), 0);
    EXPECT_EQ(application.errors(), "");
    EXPECT_EQ(numberOfFiles(Paths::in(supportIn(home.path())).models() / ".staging"), 0U);
    EXPECT_FALSE(std::filesystem::exists(supportIn(home.path()) / "com.vostel.vostel/mcp.sock"));
}

TEST(ApplicationCrash, the_next_start_performs_confirmed_removals_and_marks_abandoned_recordings_as_failed) {
    const TemporaryFolder home;
    writeCatalogue(home, 1);
    const Paths paths = Paths::in(supportIn(home.path()));
    {
        Application application{home.path()};
        EXPECT_EQ(textOf(call(home, "model_install", german)), "The model de is installed.");
        EXPECT_TRUE(isFailure(call(home, "model_remove", german)));
        application.signal(SIGKILL);
        EXPECT_EQ(application.exitStatus(), -SIGKILL);
    }
    UUID id;
    id.bytes[15] = 1;
    {
        // The state after two crashes: one between a confirmation and its removal, one during a recording.
        Database database = intactDatabase(home);
        ASSERT_TRUE(database.execute("UPDATE confirmations SET decision = 'confirmed'"));
        ASSERT_TRUE(Recordings{database}.begin(id, Timestamp{1s}));
        vostel_tests::writeFile(paths.downloads() / "abc/audio.webm", "sound");
    }
    const Application application{home.path()};
    ASSERT_FALSE(isFailure(call(home, "models_list", MCPValue::object({})))) << "it recovers before it answers";
    EXPECT_FALSE(std::filesystem::exists(paths.models() / "de"));
    EXPECT_TRUE(std::filesystem::is_empty(paths.downloads()));
    EXPECT_EQ(textOf(call(home, "model_remove", german)),
              "The user confirmed this action, and it has been performed.\nThe model de was removed.");
    Database database = intactDatabase(home);
    EXPECT_EQ(Recordings{database}.find(id).value()->summary.state, RecordingSummary::State::failed);
}

TEST(ApplicationCrash, a_damaged_database_is_not_changed_and_every_caller_is_told) {
    const TemporaryFolder home;
    const std::string content(5000, 'x');
    const Paths paths = Paths::in(supportIn(home.path()));
    const auto database = paths.database();
    vostel_tests::writeFile(database, content);
    std::filesystem::permissions(paths.folder, std::filesystem::perms::owner_all);
    const std::string reason = "Vostel's database " + database.string() +
                               " is damaged (file is not a database); nothing in it was changed, please restore it "
                               "from a backup or move it away.";
    {
        Application application{home.path()};
        for (const char* tool : {"models_list", "transcribe_file"}) {
            const auto answer = call(home, tool, MCPValue::object({}));
            EXPECT_TRUE(isFailure(answer));
            EXPECT_EQ(textOf(answer), reason);
        }
        EXPECT_EQ(std::filesystem::file_size(database), content.size());
        EXPECT_TRUE(vostel_tests::readFile(paths.log()).ends_with(" cannot work: " + reason + "\n"));

        // The user moves the file away.
        std::filesystem::rename(database, home.path() / "moved");
        EXPECT_EQ(textOf(call(home, "models_list", MCPValue::object({}))),
                  "Vostel can work again and starts with the next call. Please repeat this call.");
        EXPECT_EQ(application.exitStatus(), 2);
        EXPECT_EQ(application.errors(), reason + "\n");
        EXPECT_FALSE(std::filesystem::exists(paths.folder / "mcp.sock"));
    }
    const Application again{home.path()};
    EXPECT_FALSE(isFailure(call(home, "models_list", MCPValue::object({}))));
}

TEST(ApplicationCrash, every_caller_is_told_that_others_may_write_to_the_folder) {
    const TemporaryFolder home;
    const auto folder = Paths::in(supportIn(home.path())).folder;
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::all);
    Application application{home.path()};
    const std::string reason = "Vostel does not serve from '" + folder.string() +
                               "', because it is not a folder that belongs to you and that only you can write to.";
    EXPECT_EQ(textOf(call(home, "models_list", MCPValue::object({}))), reason);
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator{folder}) {
        EXPECT_EQ(entry.path().filename(), "mcp.sock");
        ++files;
    }
    EXPECT_EQ(files, 1U) << "nothing else is written there";

    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    EXPECT_TRUE(isFailure(call(home, "models_list", MCPValue::object({}))));
    EXPECT_EQ(application.exitStatus(), 2);
    EXPECT_EQ(application.errors(), reason + "\n");
}

} // namespace vostel_companion
