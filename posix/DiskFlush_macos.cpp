#include "posix/DiskFlush.h"

#include <fcntl.h>
#include <unistd.h>

namespace posix {

// Deliberate: on macOS, fsync leaves the data in the disk's cache. F_FULLFSYNC does not work on every file system.
bool flushToDisk(int descriptor) { return ::fcntl(descriptor, F_FULLFSYNC) == 0 || ::fsync(descriptor) == 0; }

} // namespace posix
