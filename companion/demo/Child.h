// A program that the demo runs and talks to.
#pragma once

#include "kit/support/PosixError.h"

#include <cstdio>
#include <expected>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace vostel_companion {

/// Runs from `start` to the destructor, which closes its input and waits until it has ended. Not thread-safe.
class Child final {
public:
    /// Runs the executable `command[0]` with this process's environment and standard error.
    [[nodiscard]] static std::expected<std::unique_ptr<Child>, VostelMCPKit::PosixError>
    start(const std::vector<std::string>& command);

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    /// Writes `text` to its standard input.
    void write(std::string_view text);
    /// The next line of its output with the line feed; empty at the end.
    [[nodiscard]] std::string readLine();

private:
    Child(pid_t process, std::FILE* input, std::FILE* output) : process_{process}, input_{input}, output_{output} {}

    const pid_t process_;
    std::FILE* const input_;
    std::FILE* const output_;
};

} // namespace vostel_companion
