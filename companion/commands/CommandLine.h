// From the arguments of the program to the command they mean.
#pragma once

#include "companion/commands/Command.h"

#include <expected>
#include <span>
#include <string>

namespace vostel_companion {

/// Nothing to be done but to print: help that was asked for, or what is wrong with the arguments.
struct CommandLineText {
    std::string text;
    /// `done` for help, which goes to standard output; else `failed`, and the text is a complaint.
    Exit exit = Exit::done;

    bool operator==(const CommandLineText&) const = default;
};

/// `arguments` come without the program's name.
[[nodiscard]] std::expected<Command, CommandLineText> parseCommandLine(std::span<const std::string> arguments);

} // namespace vostel_companion
