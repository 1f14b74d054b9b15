// What a program that we start inherits.
#pragma once

#include <spawn.h>

namespace posix {

/// Sees to it that a child gets its three standard streams and no other descriptor of ours, also none that another
/// thread has just opened. `actions` has put the streams in place by then.
void closeAllButStandardStreams(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

} // namespace posix
