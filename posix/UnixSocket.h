// The blocking system calls of one Unix-domain socket connection.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <span>
#include <string>

namespace posix::UnixSocket {

/// Connects to the socket at `path`, which fits the address (MCPConnectLogic has checked it). One attempt.
[[nodiscard]] std::expected<FileDescriptor, VostelMCPKit::PosixError> connect(const std::string& path);

/// Writes every byte or fails. An interrupted write is continued. A closed peer is an error, never a signal.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> writeAll(int socket, std::span<const std::byte> bytes);

} // namespace posix::UnixSocket
