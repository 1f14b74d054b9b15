// Scripts with which a shell completes command lines. They are made from the same table that parses the arguments.
#pragma once

#include <string>
#include <vector>

namespace vostel_companion {

enum class Shell { bash, zsh, fish };

/// The program, or one of its commands.
struct CommandDescription {
    struct Option {
        /// "--format".
        std::string name;
        std::string about;
        bool takesValue = false;
        /// All values that it may have. Empty if there are others.
        std::vector<std::string> choices = {};

        bool operator==(const Option&) const = default;
    };

    std::string name;
    std::string about;
    std::vector<Option> options;
    std::vector<CommandDescription> commands;
    /// All values that its arguments may have. Empty if there are others.
    std::vector<std::string> choices;
    bool takesFiles = false;

    bool operator==(const CommandDescription&) const = default;
};

/// A script that the shell loads.
[[nodiscard]] std::string completionScript(Shell shell, const CommandDescription& program);

} // namespace vostel_companion
