#include "posix/ThreadName.h"

#include <pthread.h>

namespace posix {

void nameThisThread(ThreadName name) { ::pthread_setname_np(::pthread_self(), name.suffix); }

} // namespace posix
