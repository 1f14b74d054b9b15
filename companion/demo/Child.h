// A program that the demo runs and talks to.
#pragma once

#include "posix/ChildProcess.h"

#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vostel_companion {

/// Runs from `start` to the destructor, which closes its input and waits until it has ended. Not thread-safe.
class Child final {
public:
    /// Runs the executable `command[0]` with this process's environment and standard error.
    [[nodiscard]] static std::expected<std::unique_ptr<Child>, VostelMCPKit::PosixError>
    start(const std::vector<std::string>& command);
    /// The same with a terminal of its own for all three streams.
    [[nodiscard]] static std::expected<std::unique_ptr<Child>, VostelMCPKit::PosixError>
    startOnTerminal(const std::vector<std::string>& command);

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    /// Writes `text` to its standard input.
    void write(std::string_view text);
    /// The next line of its output with the line feed; empty at the end.
    [[nodiscard]] std::string readLine();

private:
    Child(posix::ChildProcess process, posix::FileDescriptor input, posix::FileDescriptor output)
        : process_{std::move(process)}, input_{std::move(input)}, output_{std::move(output)} {}

    posix::ChildProcess process_;
    posix::FileDescriptor input_;
    posix::FileDescriptor output_;
    /// Bytes of later lines that have been read already.
    std::string unread_;
};

} // namespace vostel_companion
