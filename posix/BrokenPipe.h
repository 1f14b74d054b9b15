// Writing to a socket whose other end is gone: a failure of the write, never the broken-pipe signal.
#pragma once

namespace posix {

/// Call it for each new socket, and pass `sendFlags` to each send: one system knows an option of the socket, the other
/// a flag of the write.
void suppressBrokenPipe(int socket);
extern const int sendFlags;

} // namespace posix
