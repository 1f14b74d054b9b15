// The real program.
#include "companion/commands/QuitVerb.h"
#include "companion/store/Recordings.h"
#include "companion/store/Schema.h"
#include "tests/companion/support/CompanionClient.h"
#include "tests/companion/support/Program.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>

namespace vostel_companion {

using namespace std::chrono_literals;
using vostel_tests::CompanionClient;
using vostel_tests::isFailure;
using vostel_tests::Program;
using vostel_tests::ProgramOnTerminal;
using vostel_tests::spoken;
using Home = vostel_tests::TemporaryFolder;
using vostel_tests::textOf;
using VostelMCPKit::MCPValue;

namespace {

const std::filesystem::path vostel = VOSTEL_BUNDLE "/Vostel";

struct Ran {
    int status;
    std::string output;
    std::string errors;
    bool operator==(const Ran&) const = default;
};

void PrintTo(const Ran& ran, std::ostream* out) {
    *out << "exit " << ran.status << "\n--- output\n" << ran.output << "--- errors\n" << ran.errors;
}

Ran ran(const Home& home, const std::vector<std::string>& arguments) {
    Program program{vostel, arguments, home.path()};
    const int status = program.status();
    return {status, program.output(), program.errors()};
}

std::filesystem::path supportIn(const Home& home) { return home.path() / "Library/Application Support"; }

/// Calls a tool as soon as the program listens, and returns the answer.
std::optional<VostelMCPKit::MCPWireResponse> called(const Home& home, std::string_view tool,
                                                    const MCPValue& arguments) {
    const auto giveUp = std::chrono::steady_clock::now() + 120s;
    while (true) {
        CompanionClient client{supportIn(home)};
        if (client.connected() || std::chrono::steady_clock::now() > giveUp) {
            client.request(tool, arguments);
            return client.response();
        }
        ::poll(nullptr, 0, 5);
    }
}

std::optional<VostelMCPKit::MCPWireResponse> removed(const Home& home, const std::string& word) {
    return called(home, "vocabulary_remove", MCPValue::object({{"words", MCPValue::array({word})}}));
}

/// A recording whose transcription takes much longer than the test may.
std::filesystem::path longRecording(const Home& home) {
    std::vector<std::int16_t> samples;
    const auto sentence = vostel_tests::samplesOf(spoken("0870"));
    while (samples.size() < 16'000U * 600) samples.insert(samples.end(), sentence.begin(), sentence.end());
    const auto file = home.path() / "long.wav";
    vostel_tests::writeFile(file, vostel_tests::wav(samples, 16'000));
    return file;
}

} // namespace

TEST(Program, its_verbs_use_the_folder_in_the_users_home) {
    const Home home;
    EXPECT_EQ(ran(home, {"words", "add", "bostel", "Vostel"}), (Ran{0, "added: bostel  ->  Vostel\n", ""}));
    EXPECT_EQ(ran(home, {"words"}), (Ran{0, "bostel  ->  Vostel\n", ""}));
    EXPECT_EQ(ran(home, {"words", "remove", "vostel"}), (Ran{1, "", "The vocabulary has no word 'vostel'.\n"}));
    EXPECT_EQ(ran(home, {"words", "sing"}),
              (Ran{2, "", "The following argument was not expected: sing\nRun with --help for more information.\n"}));
    const auto folder = supportIn(home) / "com.vostel.vostel";
    EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms::owner_all);
    const auto ownerOnly = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
    EXPECT_EQ(std::filesystem::status(folder / "Vostel.sqlite").permissions(), ownerOnly);
}

TEST(Program, help_needs_no_folder) {
    const Home home;
    EXPECT_EQ(ran(home, {"--help"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(home.path() / "Library"));
}

TEST(Program, a_folder_that_others_may_write_to_is_refused) {
    const Home home;
    const auto folder = supportIn(home) / "com.vostel.vostel";
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::all);
    const Ran refused = ran(home, {"words"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.errors, "");
    EXPECT_FALSE(std::filesystem::exists(folder / "Vostel.sqlite"));
}

TEST(Program, output_that_cannot_be_written_is_a_failure) {
    const Home home;
    // Standard output is a device that is always full.
    std::filesystem::create_symlink("/dev/full", home.path() / "output.txt");
    Program program{vostel, {"models"}, home.path()};
    EXPECT_EQ(program.status(), 2);
    EXPECT_EQ(program.errors(), "The output could not be written.\n");
}

TEST(Program, connects_clients_to_the_server_beside_it) {
    const Home home;
    EXPECT_EQ(ran(home, {"clients", "status"}).status, 1);
    EXPECT_EQ(ran(home, {"clients", "install", "claude-code"}).status, 0);
    const Ran status = ran(home, {"clients", "status", "claude-code"});
    EXPECT_EQ(status, (Ran{0, "Claude Code: up to date in " + (home.path() / ".claude.json").string() + ".\n", ""}));
    EXPECT_FALSE(std::filesystem::exists(supportIn(home) / "com.vostel.vostel")) << "this verb needs no store";
}

TEST(Program, a_confirmation_in_a_terminal_reaches_the_serving_process) {
    const Home home;
    Program serving{vostel, {}, home.path()};
    ASSERT_EQ(ran(home, {"words", "add", "one"}).status, 0);
    EXPECT_TRUE(isFailure(removed(home, "one")));
    const std::string id = ran(home, {"pending"}).output.substr(0, 8);
    EXPECT_EQ(ran(home, {"confirm", id}).status, 1) << "it runs without a terminal";
    EXPECT_TRUE(isFailure(removed(home, "one")));
    ProgramOnTerminal confirming{vostel, {"confirm", id}, home.path()};
    EXPECT_TRUE(confirming.shows("Confirmed; removed \"one\".")) << confirming.screen();
    EXPECT_EQ(confirming.status(), 0);
    EXPECT_FALSE(isFailure(removed(home, "one")));
    EXPECT_FALSE(isFailure(removed(home, "one"))) << "the client gets the outcome again";
    EXPECT_EQ(ran(home, {"deny", id}).errors, "This request has been answered already.\n");
    serving.signal(SIGTERM);
    EXPECT_EQ(serving.status(), 0);
}

TEST(Program, status_says_what_it_does_and_quit_ends_it) {
    const Home home;
    EXPECT_EQ(ran(home, {"quit"}), (Ran{1, "", "Vostel is not running.\n"}));
    const Ran idle = ran(home, {"status"});
    EXPECT_EQ(idle.status, 1);
    EXPECT_TRUE(
        idle.output.starts_with("running      no; the first call of an AI client starts it\nmodels       en-us\n"
                                "kept         nothing yet\non the disk  0 KB in '"))
        << idle.output;
    EXPECT_FALSE(std::filesystem::exists(supportIn(home))) << "it creates nothing";

    // Made before the connection: the server closes a connection that sends nothing for some time.
    const std::string recording = longRecording(home).string();
    Program serving{vostel, {}, home.path()};
    EXPECT_FALSE(isFailure(called(home, "models_list", MCPValue::object({}))));
    CompanionClient client{supportIn(home)};
    client.request("transcribe_file", MCPValue::object({{"path", recording}}));
    Ran status = ran(home, {"status"});
    const auto giveUp = std::chrono::steady_clock::now() + 120s;
    while (!status.output.contains("Transcribing") && std::chrono::steady_clock::now() < giveUp) {
        ::poll(nullptr, 0, 20);
        status = ran(home, {"status"});
    }
    EXPECT_EQ(status.status, 0);
    EXPECT_TRUE(status.output.starts_with("running      since 20")) << status.output;
    EXPECT_TRUE(status.output.contains("\nworking on   transcribe_file for '")) << status.output;
    EXPECT_TRUE(status.output.contains(" of 10:")) << status.output;
    EXPECT_TRUE(status.output.contains("\ndictations   0\ntranscripts  0\nrecordings   0\nwords        0\n"))
        << status.output;

    EXPECT_EQ(ran(home, {"quit"}), (Ran{0, "Vostel has ended. One long call was cancelled.\n", ""}));
    EXPECT_EQ(serving.status(), 0);
    EXPECT_TRUE(isFailure(client.response())) << "the client learns that its call was cancelled";
}

TEST(Program, an_application_that_does_not_end_is_reported) {
    const Home home;
    Program serving{vostel, {}, home.path()};
    EXPECT_FALSE(isFailure(called(home, "models_list", MCPValue::object({}))));
    // A stopped process gets its signals when it continues.
    serving.signal(SIGSTOP);
    std::string errors;
    const QuitContext context{.support = supportIn(home),
                              .print = [](std::string_view) { return true; },
                              .printError = [&](const std::string& sentence) { errors = sentence; },
                              .timeout = 1ms};
    EXPECT_EQ(run(Command::Quit{}, context), Exit::failed);
    EXPECT_TRUE(
        errors.starts_with("Vostel was asked to end but still runs after 1 s. To end it at once, run: kill -9 "))
        << errors;
    serving.signal(SIGCONT);
    EXPECT_EQ(serving.status(), 0);
}

TEST(Program, adds_a_dictation_to_the_history) {
    const Home home;
    ASSERT_EQ(ran(home, {"words", "add", "amiable", "AMIABLE"}).status, 0);
    EXPECT_EQ(ran(home, {"dictate", spoken("0930").string()}),
              (Ran{0, "He might even have been made AMIABLE himself.\n", ""}));
    EXPECT_EQ(ran(home, {"dictate", "missing.wav"}).status, 2);
}

TEST(Program, an_interrupted_recording_is_stored_as_failed_and_the_program_ends_by_the_signal) {
    const Home home;
    const auto file = longRecording(home);
    Program recording{vostel, {"record", file.string(), file.string()}, home.path()};
    const auto database = supportIn(home) / "com.vostel.vostel/Vostel.sqlite";
    const auto state = [&]() -> std::optional<RecordingSummary> {
        if (!std::filesystem::exists(database)) return std::nullopt;
        auto store = openStore(database);
        if (!store) return std::nullopt;
        const auto listed = Recordings{*store}.list({});
        return listed && !listed->entries.empty() ? std::optional{listed->entries.front()} : std::nullopt;
    };
    const auto giveUp = std::chrono::steady_clock::now() + 120s;
    const auto isTranscribing = [&] {
        const auto summary = state();
        return summary && summary->state == RecordingSummary::State::transcribing;
    };
    while (!isTranscribing() && std::chrono::steady_clock::now() < giveUp) ::poll(nullptr, 0, 10);

    recording.signal(SIGINT);
    EXPECT_EQ(recording.status(), -SIGINT);
    EXPECT_EQ(recording.errors(), "The transcription was cancelled.\n");
    const auto summary = state();
    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->state, RecordingSummary::State::failed);
    EXPECT_EQ(summary->failureReason, "The transcription was cancelled.");
}

TEST(ProgramOnTerminal, asks_for_confirmation_while_it_serves) {
    const Home home;
    ASSERT_EQ(ran(home, {"words", "add", "one"}).status, 0);
    ASSERT_EQ(ran(home, {"words", "add", "two"}).status, 0);
    ProgramOnTerminal program{vostel, {"serve"}, home.path()};
    ASSERT_TRUE(program.shows("Vostel serves AI clients on this machine until you press Ctrl-C.")) << program.screen();

    EXPECT_TRUE(isFailure(removed(home, "one")));
    ASSERT_TRUE(program.shows("Remove the vocabulary rule for \"one\"")) << program.screen();
    ASSERT_TRUE(program.shows("Allow it? y/n: ")) << program.screen();
    EXPECT_FALSE(isFailure(called(home, "models_list", MCPValue::object({}))))
        << "other calls do not wait for the answer";
    program.type("perhaps\n");
    ASSERT_TRUE(program.shows("Please answer y or n: ")) << program.screen();
    program.type("y\n");
    ASSERT_TRUE(program.shows("Confirmed; removed \"one\".")) << program.screen();
    EXPECT_FALSE(isFailure(removed(home, "one")));

    EXPECT_TRUE(isFailure(removed(home, "two")));
    ASSERT_TRUE(program.shows("Allow it? y/n: ")) << program.screen();
    EXPECT_EQ(ran(home, {"deny", ran(home, {"pending"}).output.substr(0, 36)}).status, 0);
    ASSERT_TRUE(program.shows("This request was answered elsewhere")) << program.screen();

    program.type("\x04");
    ASSERT_TRUE(program.shows("Vostel continues to serve")) << program.screen();
    EXPECT_EQ(textOf(removed(home, "two")), "The user denied this action. It was not performed.");
    program.type("\x03");
    EXPECT_EQ(program.status(), 0);
}

TEST(ProgramOnTerminal, shows_the_progress_of_a_transcription) {
    const Home home;
    ProgramOnTerminal program{vostel, {"dictate", spoken("0930").string()}, home.path()};
    ASSERT_TRUE(program.shows("\r\x1B[KTranscribing  [                                        ]   0%"))
        << program.screen();
    ASSERT_TRUE(program.shows("] 100%\r\x1B[K")) << program.screen();
    EXPECT_TRUE(program.shows("He might even have been made amiable himself.\r\n")) << program.screen();
    EXPECT_EQ(program.status(), 0);
}

TEST(ProgramOnTerminal, ctrl_c_ends_long_work) {
    const Home home;
    ProgramOnTerminal program{vostel, {"dictate", longRecording(home).string()}, home.path()};
    ASSERT_TRUE(program.shows("   1%")) << program.screen();
    program.type("\x03");
    EXPECT_TRUE(program.shows("The transcription was cancelled.")) << program.screen();
    EXPECT_EQ(program.status(), -SIGINT);
}

} // namespace vostel_companion
