// The application's socket as the system's functions take it. In a header of its own because it needs the system's.
#pragma once

#include "kit/connect/MCPConnectLogic.h"

#include <expected>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

namespace VostelMCPKit::MCPConnectLogic {

/// For bind and connect. Fails where validateSocketPathLength does. Thread-safe; touches no file.
[[nodiscard]] std::expected<sockaddr_un, ConnectError> socketAddress(std::string_view path);

} // namespace VostelMCPKit::MCPConnectLogic
