// Parsing the arguments of the program.
#pragma once

#include "companion/commands/Command.h"

#include <expected>
#include <span>
#include <string>

namespace vostel_companion {

/// A text to print instead of running a command: help or version, or what is wrong with the arguments.
struct CommandLineText {
    std::string text;
    /// `done` for help and version, which go to standard output. `failed` for an error message.
    Exit exit = Exit::done;

    bool operator==(const CommandLineText&) const = default;
};

/// `arguments` do not include the name of the program.
[[nodiscard]] std::expected<Command, CommandLineText> parseCommandLine(std::span<const std::string> arguments);

/// All commands and options that parseCommandLine knows.
[[nodiscard]] CommandDescription describeCommandLine();

} // namespace vostel_companion
