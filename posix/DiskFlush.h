// Getting what was written to a file onto the disk.
#pragma once

namespace posix {

/// True once the disk holds what was written to the file; false with errno set.
[[nodiscard]] bool flushToDisk(int descriptor);

} // namespace posix
