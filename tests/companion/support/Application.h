// Starts the companion application and ends it.
#pragma once

#include "posix/ChildProcess.h"
#include "posix/FileIO.h"
#include "posix/Pipe.h"
#include "tests/companion/support/CompanionClient.h"
#include "tests/support/Environment.h"
#include "tests/support/HomeFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vostel_tests {

/// One run of the program with a home folder. The destructor kills it.
class Application {
public:
    explicit Application(const std::filesystem::path& home) {
        auto errors = posix::Pipe::make();
        EXPECT_TRUE(errors);
        refuseRealHome(home);
        auto started = posix::ChildProcess::start(
            {.executable = VOSTEL_APPLICATION,
             .environment = environmentWith({{"HOME", home.string()}, {"CFFIXED_USER_HOME", home.string()}}),
             .output = STDOUT_FILENO,
             .error = errors->writer.get()});
        if (started) process_.emplace(*std::move(started));
        EXPECT_TRUE(process_);
        errors_ = std::move(errors->reader);
    }

    void signal(int number) const { ::kill(process_->id(), number); }

    /// Waits until it has ended. Returns the exit status, or minus the signal that ended it.
    int exitStatus() {
        if (process_) status_ = process_->wait();
        process_.reset();
        return status_;
    }

    /// Everything that it wrote to standard error. Call it after the end.
    [[nodiscard]] std::string errors() const { return posix::readRest(errors_, 1 << 20).value_or(""); }

private:
    std::optional<posix::ChildProcess> process_;
    int status_ = 0;
    posix::FileDescriptor errors_;
};

inline std::filesystem::path supportIn(const std::filesystem::path& home) {
    return home / "Library/Application Support";
}

/// Connects as soon as the program listens.
inline std::unique_ptr<CompanionClient> connected(const std::filesystem::path& home) {
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds{120};
    while (true) {
        auto client = std::make_unique<CompanionClient>(supportIn(home));
        if (client->connected() || std::chrono::steady_clock::now() > giveUp) return client;
        ::poll(nullptr, 0, 5);
    }
}

} // namespace vostel_tests
