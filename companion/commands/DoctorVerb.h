// `Vostel doctor`: checks the installation for frequent problems and says what to do.
#pragma once

#include "companion/commands/Command.h"
#include "companion/support/Paths.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The dependencies of this verb. It changes nothing. But its test call starts the application if that is not running.
struct DoctorContext {
    /// The user's Application Support folder.
    std::filesystem::path support;
    std::filesystem::path home;
    /// The vostel-mcp beside this program.
    std::filesystem::path helper;
    std::filesystem::path systemModel;
    /// The folders in which to look for yt-dlp, as in the variable PATH.
    std::string downloaderPath;
    std::function<std::optional<std::string>(const char*)> environmentVariable;
    // As in CommandContext.
    std::function<bool(std::string_view)> print;
    /// How long to wait for the application's answer, and for the whole test call.
    std::chrono::milliseconds answerTimeout{15'000};
};

/// One line for each check. `refused` if something is wrong.
[[nodiscard]] Exit run(const Command::Doctor& verb, const DoctorContext& context);

} // namespace vostel_companion
