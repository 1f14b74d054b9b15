// The blocking system calls of one Unix-domain socket connection.
#pragma once

#include "kit/support/PosixError.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <functional>
#include <span>
#include <string>

namespace posix::UnixSocket {

/// Connects to the socket at `path`; ENAMETOOLONG for a path beyond socketPathByteLimit. Some systems wait while the
/// backlog of the listener is full: then `waits` is called first, if there is one.
[[nodiscard]] std::expected<FileDescriptor, VostelMCPKit::PosixError> connect(const std::string& path,
                                                                              const std::function<void()>& waits = {});

/// Asks for room for 1 MiB on its way in each direction. The default of macOS is 8 KiB: a result of several MiB would
/// take a thousand turns of both processes. For both ends of a connection; connect has called it.
void widenBuffers(int socket);

/// Writes every byte or fails. An interrupted write is continued. A closed peer is an error, never a signal.
[[nodiscard]] std::expected<void, VostelMCPKit::PosixError> writeAll(int socket, std::span<const std::byte> bytes);

} // namespace posix::UnixSocket
