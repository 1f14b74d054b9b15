// Another program at work for us.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace posix {

/// A program and everything that it starts, in a process group of its own; all of it is gone after the destructor.
/// For one thread at a time.
class ChildProcess final {
public:
    /// Runs `executable` itself, without a shell, with `arguments` behind its name and exactly the variables of
    /// `environment`. It reads nothing, its output and its errors come out of one pipe, it inherits no other
    /// descriptor, and it treats signals as a program started from a shell does.
    [[nodiscard]] static std::expected<ChildProcess, VostelMCPKit::PosixError>
    start(const std::filesystem::path& executable, std::vector<std::string> arguments,
          std::vector<std::string> environment);
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    /// Where its output is read from; reading never waits.
    [[nodiscard]] int output() const { return output_.get(); }
    /// Whether the program itself has ended. What it started may still run.
    [[nodiscard]] bool hasEnded() const;
    /// Kills what still runs; the exit status of the program, or minus the signal that ended it.
    [[nodiscard]] int end();

private:
    ChildProcess(pid_t process, posix::FileDescriptor output) : process_{process}, output_{std::move(output)} {}

    /// Zero once it has been waited for.
    pid_t process_;
    posix::FileDescriptor output_;
};

} // namespace posix
