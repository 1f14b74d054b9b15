// The address of the application's socket. It has its own header because it includes system headers.
#pragma once

#include "kit/connect/MCPConnectLogic.h"

#include <expected>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

namespace VostelMCPKit::MCPConnectLogic {

/// The address to pass to bind and connect. Fails where validateSocketPathLength fails. Thread-safe; touches no file.
[[nodiscard]] std::expected<sockaddr_un, ConnectError> socketAddress(std::string_view path);

} // namespace VostelMCPKit::MCPConnectLogic
