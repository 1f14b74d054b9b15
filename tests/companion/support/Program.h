// The real programs, as a person or a script runs them.
#pragma once

#include "posix/ChildProcess.h"
#include "posix/FileDescriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace vostel_tests {

/// One run of a program with a home folder of its own and nothing on standard input. What is left of it is killed at
/// the end. Its standard output and errors go to files in that folder.
class Program final {
public:
    Program(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const std::filesystem::path& home);

    void signal(int number) const;
    /// Waits for the end; the exit status, or minus the signal that ended it.
    int status();

    // Complete once it has ended.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;

private:
    std::filesystem::path output_;
    std::filesystem::path errors_;
    std::optional<posix::ChildProcess> process_;
    int status_ = 0;
};

/// One run of a program with a terminal for its standard streams, 80 columns wide.
class ProgramOnTerminal final {
public:
    ProgramOnTerminal(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                      const std::filesystem::path& home);
    ProgramOnTerminal(const ProgramOnTerminal&) = delete;
    ProgramOnTerminal& operator=(const ProgramOnTerminal&) = delete;
    ~ProgramOnTerminal();

    void type(std::string_view text) const;
    /// Waits up to half a minute until `text` is on the screen behind what earlier calls found; whether it came.
    bool shows(std::string_view text);
    /// Everything on the screen so far.
    [[nodiscard]] const std::string& screen() const { return screen_; }

    /// Waits for the end; the exit status, or minus the signal that ended it.
    int status();

private:
    posix::FileDescriptor terminal_;
    std::string screen_;
    std::size_t seen_ = 0;
    pid_t process_ = 0;
    int status_ = 0;
};

} // namespace vostel_tests
