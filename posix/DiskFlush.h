// Makes the system write a file's data to the disk.
#pragma once

namespace posix {

/// Returns true when the data is on the disk. On failure returns false and sets errno.
[[nodiscard]] bool flushToDisk(int descriptor);

} // namespace posix
