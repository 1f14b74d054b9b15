// `Vostel clients status | install | remove [KIND]`: our entry in the AI clients' own configuration files.
#pragma once

#include "companion/configs/ConfigError.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/clients/MCPClientKind.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

enum class ClientConfigAction { status, install, remove };

struct ClientConfigRequest {
    ClientConfigAction action = ClientConfigAction::status;
    /// The clients to work on. Empty means all of them; `install` skips those that are not on this computer.
    std::vector<VostelMCPKit::MCPClientKind> kinds;
    /// The user's home folder, an absolute path.
    std::string home;
    /// Absolute path of the executable that the entries start.
    std::string helperPath;
    /// Also replaces or removes a foreign entry under our name.
    bool force = false;
    /// The folders in which to look for the programs of the clients, as in the variable PATH.
    std::string searchPath = {};
};

/// The exit status of the program.
enum class ClientConfigExit : int {
    /// Status: every client is up to date. Install and remove: everything was done as requested.
    done = 0,
    /// Status: a client is not up to date. Install and remove: the user must decide or act, because of a foreign entry
    /// without `force`, an extension that only its client can remove, or because no client is on this computer.
    refused = 1,
    /// A file could not be read, parsed or written, or the request is invalid. Other clients were still processed.
    failed = 2,
};

struct ClientConfigReport {
    /// Full sentences for the terminal, at least one for each client.
    std::vector<std::string> lines;
    /// The worst result.
    ClientConfigExit exit = ClientConfigExit::done;

    bool operator==(const ClientConfigReport&) const = default;
};

/// The client's name on our command line.
[[nodiscard]] std::string_view commandLineName(VostelMCPKit::MCPClientKind kind);

/// How a client's entry compares with the wanted one.
struct ClientEntryStatus {
    VostelMCPKit::MCPClientConfigLogic::InstallationStatus command;
    /// It starts the right server, but it was written by an earlier version, in a form that the client may refuse.
    bool isOldForm = false;

    [[nodiscard]] bool isUpToDate() const;
};

/// How the entry in `file`, the client's configuration, compares with one that starts `helperPath`.
[[nodiscard]] std::expected<ClientEntryStatus, ConfigError>
clientConfigStatus(VostelMCPKit::MCPClientKind kind, const std::filesystem::path& file, const std::string& helperPath);

/// Processes one client after the other. Several processes may do so at the same time.
[[nodiscard]] ClientConfigReport processClientConfigs(const ClientConfigRequest& request);

} // namespace vostel_companion
