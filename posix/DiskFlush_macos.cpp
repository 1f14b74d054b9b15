#include "posix/DiskFlush.h"

#include <fcntl.h>
#include <unistd.h>

namespace posix {

// Deliberate: fsync leaves the data in the disk's own memory here. The other call does not work on every file system.
bool flushToDisk(int descriptor) { return ::fcntl(descriptor, F_FULLFSYNC) == 0 || ::fsync(descriptor) == 0; }

} // namespace posix
