// Makes a write to a socket whose other end is closed fail with an error instead of SIGPIPE.
#pragma once

#include <sys/socket.h>

namespace posix {

/// Pass it to each send.
inline constexpr int sendFlags = MSG_NOSIGNAL;

/// Does the same by a socket option on systems that have one. Call it for each socket before it listens or connects:
/// accepted sockets inherit the option. On an accepted socket it can be too late, because the client may have left.
void suppressBrokenPipe(int socket);

} // namespace posix
