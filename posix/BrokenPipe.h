// Makes a write to a socket whose other end is closed fail, instead of raising the broken-pipe signal.
#pragma once

namespace posix {

/// Call this for each new socket and pass `sendFlags` to each send. macOS has an option of the socket, Linux a flag of
/// the write.
void suppressBrokenPipe(int socket);
extern const int sendFlags;

} // namespace posix
