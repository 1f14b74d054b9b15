// Runs the real programs as a user or a script does.
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

/// One run of a program with a home folder of its own and an empty standard input. Standard output and standard error
/// go to files in that folder. The destructor kills the program.
class Program final {
public:
    Program(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
            const std::filesystem::path& home);

    void signal(int number) const;
    /// Waits until it has ended. Returns the exit status, or minus the signal that ended it.
    int status();

    // Complete once the program has ended.
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
    /// Waits up to half a minute until `text` appears after the texts that earlier calls found. Returns whether it
    /// appeared.
    bool shows(std::string_view text);
    /// Everything on the screen so far.
    [[nodiscard]] const std::string& screen() const { return screen_; }

    /// Waits until it has ended. Returns the exit status, or minus the signal that ended it.
    int status();

private:
    posix::FileDescriptor terminal_;
    std::string screen_;
    std::size_t seen_ = 0;
    pid_t process_ = 0;
    int status_ = 0;
};

} // namespace vostel_tests
