#include "posix/DiskFlush.h"

#include <unistd.h>

namespace posix {

bool flushToDisk(int descriptor) { return ::fsync(descriptor) == 0; }

} // namespace posix
