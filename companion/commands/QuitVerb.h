// `Vostel quit`: asks the running application to end, and waits until it has.
#pragma once

#include "companion/commands/Command.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The dependencies of this verb. It does not use the store.
struct QuitContext {
    /// The user's Application Support folder.
    std::filesystem::path support;
    // As in CommandContext.
    std::function<bool(std::string_view)> print;
    std::function<void(const std::string&)> printError;
    /// The application cancels its calls and waits up to five seconds for them.
    std::chrono::milliseconds timeout{10'000};
};

/// `refused` if the application is not running, `failed` if it still runs after the timeout.
[[nodiscard]] Exit run(const Command::Quit& verb, const QuitContext& context);

} // namespace vostel_companion
