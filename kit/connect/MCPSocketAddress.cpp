#include "kit/connect/MCPSocketAddress.h"

#include <utility>

namespace VostelMCPKit::MCPConnectLogic {

static_assert(sizeof(sockaddr_un::sun_path) >= socketPathByteLimit);

std::expected<sockaddr_un, ConnectError> socketAddress(std::string_view path) {
    if (auto fits = validateSocketPathLength(path); !fits) return std::unexpected(std::move(fits.error()));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return address;
}

} // namespace VostelMCPKit::MCPConnectLogic
