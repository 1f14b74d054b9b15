// Another program that runs for us.
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

/// A program and everything that it starts, in a process group of its own; the destructor kills what still runs. For
/// one thread at a time.
class ChildProcess final {
public:
    struct Program {
        /// Run itself, without a shell.
        std::filesystem::path executable;
        /// What follows the name of the program.
        std::vector<std::string> arguments = {};
        /// All of its variables, each "NAME=value".
        std::vector<std::string> environment = {};
        /// Where it runs; in our own folder when empty.
        std::filesystem::path folder = {};
        /// What it reads from and writes to; the null device where negative.
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
    /// Whether the program itself has ended. What it started may still run.
    [[nodiscard]] bool hasEnded() const;

    // Both return the program's exit status, or minus the signal that ended it, and kill what it has left running.
    // Nothing else may be called afterwards.
    /// Waits until the program ends.
    [[nodiscard]] int wait();
    /// Does not wait.
    [[nodiscard]] int kill();

private:
    explicit ChildProcess(pid_t process) : process_{process} {}

    /// Zero once its status was taken.
    pid_t process_;
};

/// The variables of this process.
[[nodiscard]] std::vector<std::string> currentEnvironment();

} // namespace posix
