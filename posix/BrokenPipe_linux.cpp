#include "posix/BrokenPipe.h"

#include <sys/socket.h>

namespace posix {

void suppressBrokenPipe(int /*socket*/) {}
const int sendFlags = MSG_NOSIGNAL;

} // namespace posix
