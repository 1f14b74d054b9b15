#include "posix/BrokenPipe.h"

namespace posix {

void suppressBrokenPipe(int socket) {
    const int on = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
}

} // namespace posix
