// `Vostel status`: whether the application runs, what it does and how much it stores.
#pragma once

#include "companion/commands/Command.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The dependencies of this verb. It creates and changes nothing.
struct StatusContext {
    /// The user's Application Support folder.
    std::filesystem::path support;
    std::filesystem::path systemModel;
    // As in CommandContext.
    std::function<bool(std::string_view)> print;
    std::function<void(const std::string&)> printError;
};

/// One line for each fact. `refused` if the application is not running.
[[nodiscard]] Exit run(const Command::Status& verb, const StatusContext& context);

} // namespace vostel_companion
