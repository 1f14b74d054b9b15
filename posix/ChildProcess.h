// Runs another program as a child process.
#pragma once

#include "posix/FileDescriptor.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace posix {

/// A program and all processes that it starts, in a process group of its own. The destructor kills those that still
/// run. Not thread-safe.
class ChildProcess final {
public:
    struct Program {
        /// Started directly, without a shell.
        std::filesystem::path executable;
        /// The arguments without the program's name.
        std::vector<std::string> arguments = {};
        /// All variables, each "NAME=value".
        std::vector<std::string> environment = {};
        /// Its working folder. Empty: that of this process.
        std::filesystem::path folder = {};
        /// The descriptors of its standard streams. A negative one is replaced by the null device.
        int input = -1;
        int output = -1;
        int error = -1;
    };

    /// The program inherits no other descriptor, and it treats signals as a program started from a shell does.
    [[nodiscard]] static std::expected<ChildProcess, PosixError> start(Program program);
    ChildProcess(ChildProcess&& other) noexcept : process_{std::exchange(other.process_, 0)} {}
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    /// The process id of the program.
    [[nodiscard]] pid_t id() const { return process_; }
    /// Whether the program itself has ended. Processes that it started may still run.
    [[nodiscard]] bool hasEnded() const;

    // Both return the program's exit status, or minus the signal that ended it, and kill the processes that it started.
    // Call nothing else afterwards.
    /// Waits until the program ends.
    [[nodiscard]] int wait();
    /// Does not wait.
    [[nodiscard]] int kill();

private:
    explicit ChildProcess(pid_t process) : process_{process} {}

    /// Zero after it was reaped.
    pid_t process_;
};

/// The variables of this process.
[[nodiscard]] std::vector<std::string> currentEnvironment();

} // namespace posix
