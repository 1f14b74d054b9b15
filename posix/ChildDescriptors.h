// Which descriptors a child process inherits. This part of ChildProcess differs between systems.
#pragma once

#include <spawn.h>

namespace posix {

/// The child inherits its three standard streams and no other descriptor, not even one that another thread has just
/// opened. Call it after adding the streams to `actions`.
void closeAllButStandardStreams(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

} // namespace posix
