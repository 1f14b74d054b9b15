// `Vostel clients status | install | remove [KIND]`: our entry in the AI clients' own configuration files.
#pragma once

#include "kit/clients/MCPClientKind.h"

#include <string>
#include <string_view>
#include <vector>

namespace vostel_companion {

enum class ClientsVerb { status, install, remove };

struct ClientsRequest {
    ClientsVerb verb = ClientsVerb::status;
    /// The clients meant; all of them when empty.
    std::vector<VostelMCPKit::MCPClientKind> kinds;
    /// The user's home folder, an absolute path.
    std::string home;
    /// Absolute path of the executable that the entries start.
    std::string helperPath;
    /// Replaces or removes an entry under our name that is not ours.
    bool force = false;
};

/// What the program exits with.
enum class ClientsExit : int {
    /// Status: every client is up to date. Install and remove: everything is as it was asked for.
    done = 0,
    /// Status: a client is not up to date. Install and remove: something was left for the person to decide or to do: a
    /// foreign entry without `force`, or an extension that only its client can remove.
    refused = 1,
    /// A file could not be read, understood or written, or the request makes no sense. Other clients were served.
    failed = 2,
};

struct ClientsReport {
    /// Full sentences for the terminal, at least one for each client.
    std::vector<std::string> lines;
    /// The worst of what happened.
    ClientsExit exit = ClientsExit::done;

    bool operator==(const ClientsReport&) const = default;
};

/// Does what was asked, one client after the other. Several may run at the same time, in several processes.
[[nodiscard]] ClientsReport runClients(const ClientsRequest& request);

} // namespace vostel_companion
