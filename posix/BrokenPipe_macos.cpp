#include "posix/BrokenPipe.h"

#include <sys/socket.h>

namespace posix {

void suppressBrokenPipe(int socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
}
const int sendFlags = 0;

} // namespace posix
