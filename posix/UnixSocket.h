// The blocking system calls of one Unix-domain socket connection.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <functional>
#include <span>
#include <string>

namespace posix::UnixSocket {

/// Connects to the socket at `path`. ENAMETOOLONG for a path beyond socketPathByteLimit. On some systems, connecting
/// blocks while the listener's backlog is full. Before it blocks, it calls `beforeWaiting` if there is one.
[[nodiscard]] std::expected<FileDescriptor, VostelMCPKit::PosixError>
connect(const std::string& path, const std::function<void()>& beforeWaiting = {});

/// Asks for socket buffers of 1 MiB in each direction. The default of macOS is 8 KiB, with which both processes would
/// take turns a thousand times for a result of several MiB. Both ends need it; connect calls it for its end.
void widenBuffers(int socket);

/// Writes every byte or fails. Continues after an interrupted write. A closed peer is an error, never a signal.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> writeAll(int socket, std::span<const std::byte> bytes);

} // namespace posix::UnixSocket
