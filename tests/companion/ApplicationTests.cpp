// The real program, called through its socket.
#include "companion/store/Schema.h"
#include "companion/support/Paths.h"
#include "tests/companion/support/Application.h"
#include "tests/companion/support/SchemaCheck.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <gtest/gtest.h>

namespace vostel_companion {

using namespace VostelMCPKit;
using vostel_tests::Application;
using vostel_tests::connected;
using vostel_tests::isFailure;
using vostel_tests::spoken;
using vostel_tests::supportIn;
using vostel_tests::textOf;

TEST(Application, transcribes_a_file_over_its_socket_and_ends_cleanly) {
    const vostel_tests::TemporaryFolder home;
    Application application{home.path()};
    const auto client = connected(home.path());
    ASSERT_TRUE(client->connected());
    client->request("transcribe_file", MCPValue::object({{"path", spoken("0930").string()}, {"language", "en"}}));
    const auto response = client->response();
    ASSERT_TRUE(response);
    EXPECT_FALSE(isFailure(response));
    EXPECT_EQ(textOf(response), "He might even have been made amiable himself.");
    const MCPValue& result = std::get<MCPValue>(response->outcome);
    ASSERT_NE(result["structuredContent"], nullptr);
    EXPECT_EQ(vostel_tests::mismatch(*result["structuredContent"], vostel_tests::outputSchema("transcribe_file")), "");
    ASSERT_FALSE(client->progress().empty());
    EXPECT_LT(client->progress().back(), 1);

    application.signal(SIGTERM);
    EXPECT_EQ(application.exitStatus(), 0);
    EXPECT_EQ(application.errors(), "") << "no library may write there";
    EXPECT_FALSE(std::filesystem::exists(supportIn(home.path()) / "com.vostel.vostel/mcp.sock"));
    const std::string log = vostel_tests::readFile(Paths::in(supportIn(home.path())).log());
    EXPECT_TRUE(log.contains(" started\n")) << log;
    EXPECT_TRUE(log.contains(" transcribe_file for '")) << log;
    EXPECT_TRUE(log.contains(": done after ")) << log;
    EXPECT_TRUE(log.ends_with(" stopped\n")) << log;
    EXPECT_FALSE(log.contains("0930") || log.contains("amiable")) << "words and file names are private";
}

TEST(Application, a_termination_signal_cancels_running_calls) {
    const vostel_tests::TemporaryFolder home;
    std::vector<std::int16_t> minutes;
    const auto sentence = vostel_tests::samplesOf(spoken("0870"));
    while (minutes.size() < 16'000U * 120) minutes.insert(minutes.end(), sentence.begin(), sentence.end());
    vostel_tests::writeFile(home.path() / "long.wav", vostel_tests::wav(minutes, 16'000));

    Application application{home.path()};
    const auto client = connected(home.path());
    client->request("transcribe_file", MCPValue::object({{"path", (home.path() / "long.wav").string()}}));
    ASSERT_TRUE(client->next()) << "the first progress";
    application.signal(SIGTERM);
    EXPECT_EQ(textOf(client->response()), "The transcription was cancelled.");
    EXPECT_EQ(application.exitStatus(), 0);
}

TEST(Application, a_second_start_ends_with_an_error_and_does_not_disturb_the_first) {
    const vostel_tests::TemporaryFolder home;
    const Application first{home.path()};
    ASSERT_TRUE(connected(home.path())->connected());
    Application second{home.path()};
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_EQ(second.errors(), "Vostel is already running.\n");
    EXPECT_TRUE(connected(home.path())->connected());
}

TEST(Application, starts_again_after_it_was_killed) {
    const vostel_tests::TemporaryFolder home;
    {
        Application killed{home.path()};
        ASSERT_TRUE(connected(home.path())->connected());
        killed.signal(SIGKILL);
        EXPECT_EQ(killed.exitStatus(), -SIGKILL);
    }
    const Application again{home.path()};
    const auto client = connected(home.path());
    client->request("vocabulary_list", MCPValue::object({}));
    EXPECT_EQ(textOf(client->response()), "0 vocabulary rules.");
}

TEST(Application, a_caller_that_leaves_before_the_answer_does_not_end_it) {
    const vostel_tests::TemporaryFolder home;
    const Application application{home.path()};
    for (int i = 0; i < 20; ++i) {
        const auto client = connected(home.path());
        client->request("models_list", MCPValue::object({}));
        client->hangUp();
    }
    const auto client = connected(home.path());
    client->request("models_list", MCPValue::object({}));
    EXPECT_FALSE(isFailure(client->response()));
}

TEST(Application, many_calls_at_once_can_all_use_the_database) {
    const vostel_tests::TemporaryFolder home;
    const Application application{home.path()};
    ASSERT_TRUE(connected(home.path())->connected());
    std::vector<std::unique_ptr<vostel_tests::CompanionClient>> clients;
    for (int number = 0; number < 100; ++number) {
        clients.push_back(connected(home.path()));
        const MCPValue rule = MCPValue::object({{"word", "word" + std::to_string(number)}, {"replacement", "x"}});
        clients.back()->request("vocabulary_add", MCPValue::object({{"rules", MCPValue::array({rule})}}));
    }
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(textOf(clients[static_cast<std::size_t>(number)]->response()),
                  "1 outcome.\nadded: word" + std::to_string(number) + " → x");
    }
}

TEST(Application, its_database_cannot_be_transcribed_and_stays_intact) {
    const vostel_tests::TemporaryFolder home;
    const Application application{home.path()};
    const std::string database = Paths::in(supportIn(home.path())).database().string();
    const auto call = [&](std::string_view tool, const MCPValue& arguments) {
        const auto client = connected(home.path());
        client->request(tool, arguments);
        return textOf(client->response());
    };
    // Answered once the database is open.
    ASSERT_EQ(call("vocabulary_list", MCPValue::object({})), "0 vocabulary rules.");
    std::filesystem::create_symlink(database, home.path() / "link.wav");
    std::filesystem::create_hard_link(database + "-shm", home.path() / "twin.wav");

    const std::string paths[] = {database, database + "-wal", database + "-shm", home.path() / "link.wav",
                                 home.path() / "twin.wav"};
    int number = 0;
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        const std::string word = "word" + std::to_string(number++);
        const MCPValue rule = MCPValue::object({{"word", word}, {"replacement", "x"}});
        EXPECT_EQ(call("vocabulary_add", MCPValue::object({{"rules", MCPValue::array({rule})}})),
                  "1 outcome.\nadded: " + word + " → x");
        EXPECT_EQ(call("transcribe_file", MCPValue::object({{"path", path}})),
                  "'" + path + "' is not an audio or video file that Vostel can read.");
        // A process that opens and closes the database would delete the log if no other connection were open.
        ASSERT_TRUE(openStore(database)->execute("UPDATE vocabulary SET replacement = 'y'"));
        EXPECT_TRUE(std::filesystem::exists(database + "-wal"));
        EXPECT_TRUE(call("vocabulary_list", MCPValue::object({})).ends_with(word + " → y"));
    }
}

} // namespace vostel_companion
