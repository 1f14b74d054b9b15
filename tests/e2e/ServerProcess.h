// The real server as an AI client uses it: a child process with three streams.
#pragma once

#include "posix/ChildProcess.h"
#include "posix/FileDescriptor.h"
#include "tests/e2e/Timeout.h"

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace vostel_tests {

/// How a process ended. The signal is 0 when no signal ended it.
struct Ending {
    int exitStatus = 0;
    int signal = 0;

    bool operator==(const Ending&) const = default;
};

/// Variables that make a server load FakeSystem.cpp and simulate the given faults, each NAME=value.
[[nodiscard]] std::vector<std::string> fakeSystem(std::vector<std::string> faults);

/// An operation that takes longer than `timeout` fails the test.
///
/// The destructor closes standard input and expects the normal end of a conversation: exit status 0, no line that the
/// test has not read, and only the start-up line on standard error (where a sanitizer would report).
class ServerProcess final {
public:
    struct Setting {
        /// Left unset in the server's environment when absent.
        std::optional<std::string> home;
        std::filesystem::path executable = serverPath;
        std::vector<std::string> arguments = {};
        /// More variables, each NAME=value.
        std::vector<std::string> environment = {};
        std::filesystem::path workingFolder = "/";
        /// Standard input and output are non-blocking sockets, as some clients have them, instead of pipes.
        bool streamsAreNonBlockingSockets = false;
    };

    explicit ServerProcess(const Setting& setting);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// Writes bytes to standard input as they are.
    void write(std::string_view bytes);
    /// Writes a line and its line feed.
    void send(std::string_view line);
    void closeInput() { input_ = {}; }
    void closeOutput() { output_ = {}; }

    /// The next line of standard output without its line feed; empty when none comes.
    [[nodiscard]] std::string line();
    /// Waits until a part of the next line can be read.
    void expectOutputToBegin();
    /// Fails the test when a line comes during `silence`.
    void expectSilence();

    void signal(int number) const;
    /// Reads nothing.
    [[nodiscard]] bool hasEnded() const { return process_->hasEnded(); }
    /// Waits for the end of the process. The test has caused it.
    Ending waitForEnd();
    /// What was written to standard error; complete once the process has ended.
    [[nodiscard]] const std::string& errorText() const { return errorText_; }
    /// What was written to standard output and not read as a line; complete once the process has ended.
    [[nodiscard]] const std::string& unreadOutput() const { return pendingOutput_; }

    [[nodiscard]] pid_t processID() const { return process_->id(); }
    [[nodiscard]] std::size_t descriptorCount() const;
    [[nodiscard]] std::size_t threadCount() const;
    [[nodiscard]] std::size_t residentKiB() const;

private:
    [[nodiscard]] bool readOutput(std::chrono::milliseconds limit);
    [[nodiscard]] std::filesystem::path information(std::string_view name) const;

    posix::FileDescriptor input_;
    posix::FileDescriptor output_;
    posix::FileDescriptor error_;
    /// Set until the test has waited for its end.
    std::optional<posix::ChildProcess> process_;
    std::string pendingOutput_;
    std::size_t searchedOutput_ = 0;
    std::string errorText_;
    std::optional<Ending> ending_;
};

} // namespace vostel_tests
