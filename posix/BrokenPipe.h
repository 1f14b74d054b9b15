// Makes a write to a socket whose other end is closed fail, instead of raising the broken-pipe signal.
#pragma once

#include <sys/socket.h>

namespace posix {

/// Pass it to each send.
inline constexpr int sendFlags = MSG_NOSIGNAL;

/// The same as an option, for a system that has one. Call it for each socket before it listens or connects: accepted
/// ones inherit it. Once the client has left, it is too late to set it on an accepted one.
void suppressBrokenPipe(int socket);

} // namespace posix
