// The companion itself, started and ended by a test.
#pragma once

#include "tests/companion/support/CompanionClient.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace vostel_tests {

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
        errors_ = posix::FileDescriptor{errors[0]};
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
        for (ssize_t count; (count = ::read(errors_.get(), buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

private:
    pid_t process_ = 0;
    int status_ = 0;
    posix::FileDescriptor errors_;
};

inline std::filesystem::path supportIn(const std::filesystem::path& home) {
    return home / "Library/Application Support";
}

/// Connects as soon as the program listens; a start takes a moment.
inline std::unique_ptr<CompanionClient> connected(const std::filesystem::path& home) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds{30};
    while (true) {
        auto client = std::make_unique<CompanionClient>(supportIn(home));
        if (client->connected() || std::chrono::steady_clock::now() > giveUp) return client;
        ::poll(nullptr, 0, 5);
    }
}

} // namespace vostel_tests
