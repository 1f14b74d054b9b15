#include "companion/commands/RunningApplication.h"

#include "companion/support/InQuotes.h"
#include "kit/connect/MCPConnectLogic.h"
#include "posix/Peer.h"
#include "posix/UnixSocket.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace vostel_companion {

namespace MCPConnectLogic = VostelMCPKit::MCPConnectLogic;

std::expected<std::optional<RunningApplication>, std::string>
findRunningApplication(const std::filesystem::path& applicationSupportDirectory) {
    const std::string path = MCPConnectLogic::socketPath(applicationSupportDirectory);
    if (const auto fits = MCPConnectLogic::validateSocketPathLength(path); !fits) {
        return std::unexpected(fits.error().errorDescription());
    }
    const auto connection = posix::UnixSocket::connect(path);
    if (!connection) {
        const int reason = connection.error().errorNumber;
        if (reason == ENOENT || reason == ECONNREFUSED) return std::nullopt;
        return std::unexpected("The socket " + inQuotes(path) + " cannot be reached (" +
                               connection.error().systemText() + ").");
    }
    // Deliberate: not the number in Vostel.pid. After a crash, that file still names the process that has ended.
    const auto process = posix::peerProcess(connection->get());
    if (posix::peerUser(connection->get()) != ::geteuid() || !process) {
        return std::unexpected("The program at the socket " + inQuotes(path) + " belongs to another user.");
    }
    // The application creates its socket when it starts.
    struct stat socket{};
    const bool isKnown = ::lstat(path.c_str(), &socket) == 0;
    return RunningApplication{*process, isKnown ? std::optional{socket.st_mtime} : std::nullopt};
}

} // namespace vostel_companion
