// `Vostel clients status | install | remove [KIND...]`.
#pragma once

#include "companion/commands/Command.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The dependencies of this verb. It does not use the store.
struct ClientsContext {
    std::filesystem::path home;
    /// The vostel-mcp that the entries start.
    std::filesystem::path helper;
    /// The folders in which to look for the programs of the clients, as in the variable PATH.
    std::string searchPath;
    // As in CommandContext.
    std::function<bool(std::string_view)> print;
    std::function<void(const std::string&)> printError;
};

/// Fails without a change if the server to install does not exist.
[[nodiscard]] Exit run(const Command::Clients& verb, const ClientsContext& context);

} // namespace vostel_companion
