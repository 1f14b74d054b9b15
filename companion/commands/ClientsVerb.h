// `Vostel clients status | install | remove [KIND...]`.
#pragma once

#include "companion/commands/Command.h"

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// What the verb is given of the world; it needs none of the store.
struct ClientsWorld {
    std::filesystem::path home;
    /// The vostel-mcp that the entries start.
    std::filesystem::path helper;
    /// As in World.
    std::function<bool(std::string_view)> print;
    std::function<void(const std::string&)> tell;
};

/// Installs no entry for a server that is not there.
[[nodiscard]] Exit run(const Command::Clients& verb, const ClientsWorld& world);

} // namespace vostel_companion
