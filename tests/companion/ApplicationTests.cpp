// The real program, as vostel-mcp meets it.
#include "tests/companion/support/CompanionClient.h"
#include "tests/companion/support/SchemaCheck.h"
#include "tests/companion/support/SoundFile.h"
#include "tests/e2e/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace vostel_companion {

using namespace std::chrono_literals;
using namespace VostelMCPKit;
using vostel_tests::CompanionClient;
using vostel_tests::isFailure;
using vostel_tests::spoken;
using vostel_tests::textOf;

namespace {

/// One run of the program with a home folder; what is left of it is killed at the end.
class Application {
public:
    explicit Application(const std::filesystem::path& home) {
        std::array<int, 2> errors{};
        EXPECT_EQ(::pipe(errors.data()), 0);
        process_ = ::fork();
        if (process_ == 0) {
            ::dup2(errors[1], STDERR_FILENO);
            ::close(errors[0]);
            ::close(errors[1]);
            ::setenv("HOME", home.c_str(), 1);
            ::execl(VOSTEL_APPLICATION, VOSTEL_APPLICATION, nullptr);
            ::_exit(127);
        }
        ::close(errors[1]);
        errors_ = vostel_mcp::FileDescriptor{errors[0]};
    }
    ~Application() {
        if (process_ > 0) ::kill(process_, SIGKILL);
        std::ignore = exitStatus();
    }
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    void signal(int number) const { ::kill(process_, number); }

    /// Waits for the end; the exit status, or minus the signal that ended it.
    int exitStatus() {
        if (process_ <= 0) return status_;
        int status = 0;
        ::waitpid(std::exchange(process_, 0), &status, 0);
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        return status_;
    }

    /// Everything that it wrote to standard error, once it has ended.
    [[nodiscard]] std::string complaints() const {
        std::string text;
        char buffer[4096];
        for (ssize_t count; (count = ::read(errors_.number(), buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

private:
    pid_t process_ = 0;
    int status_ = 0;
    vostel_mcp::FileDescriptor errors_;
};

std::filesystem::path supportIn(const std::filesystem::path& home) { return home / "Library/Application Support"; }

/// Connects as soon as the program listens; a start takes a moment.
std::unique_ptr<CompanionClient> connected(const std::filesystem::path& home) {
    const auto giveUp = std::chrono::steady_clock::now() + 30s;
    while (true) {
        auto client = std::make_unique<CompanionClient>(supportIn(home));
        if (client->connected() || std::chrono::steady_clock::now() > giveUp) return client;
        ::poll(nullptr, 0, 5);
    }
}

} // namespace

TEST(Application, TranscribesAVoiceFromTheSocketAndEndsCleanly) {
    const vostel_tests::TemporaryFolder home;
    Application application{home.path()};
    const auto client = connected(home.path());
    ASSERT_TRUE(client->connected());
    client->request("transcribe_file", MCPValue::object({{"path", spoken("0930").string()}, {"language", "en"}}));
    const auto response = client->response();
    ASSERT_TRUE(response);
    EXPECT_FALSE(isFailure(response));
    EXPECT_EQ(textOf(response), "he might even have been made amiable himself");
    const MCPValue& result = std::get<MCPValue>(response->outcome);
    ASSERT_NE(result["structuredContent"], nullptr);
    EXPECT_EQ(vostel_tests::mismatch(*result["structuredContent"], vostel_tests::outputSchema("transcribe_file")), "");
    ASSERT_FALSE(client->progress().empty());
    EXPECT_EQ(client->progress().back(), 1);

    application.signal(SIGTERM);
    EXPECT_EQ(application.exitStatus(), 0);
    EXPECT_EQ(application.complaints(), "") << "neither library may chat";
    EXPECT_FALSE(std::filesystem::exists(supportIn(home.path()) / "com.vostel.vostel/mcp.sock"));
}

TEST(Application, ATerminationCancelsWhatRuns) {
    const vostel_tests::TemporaryFolder home;
    std::vector<std::int16_t> hour;
    const auto sentence = vostel_tests::samplesOf(spoken("0870"));
    while (hour.size() < 16'000U * 600) hour.insert(hour.end(), sentence.begin(), sentence.end());
    vostel_tests::writeFile(home.path() / "long.wav", vostel_tests::wav(hour, 16'000));

    Application application{home.path()};
    const auto client = connected(home.path());
    client->request("transcribe_file", MCPValue::object({{"path", (home.path() / "long.wav").string()}}));
    ASSERT_TRUE(client->next()) << "the first progress";
    const auto before = std::chrono::steady_clock::now();
    application.signal(SIGTERM);
    EXPECT_EQ(textOf(client->response()), "The transcription was cancelled.");
    EXPECT_EQ(application.exitStatus(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s);
}

TEST(Application, ASecondStartEndsWithAWordAndLeavesTheFirstAlone) {
    const vostel_tests::TemporaryFolder home;
    const Application first{home.path()};
    ASSERT_TRUE(connected(home.path())->connected());
    Application second{home.path()};
    EXPECT_EQ(second.exitStatus(), 1);
    EXPECT_EQ(second.complaints(), "Vostel is already running.\n");
    EXPECT_TRUE(connected(home.path())->connected());
}

TEST(Application, StartsAgainAfterItWasKilled) {
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

TEST(Application, ACallerThatIsGoneBeforeTheAnswerDoesNotEndIt) {
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

} // namespace vostel_companion
