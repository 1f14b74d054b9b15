// Which descriptors a program that we start inherits. A part of ChildProcess that differs between systems.
#pragma once

#include <spawn.h>

namespace posix {

/// Gives the child its three standard streams and none of our other descriptors, not even one that another thread has
/// just opened. Call it after `actions` puts the streams in place.
void closeAllButStandardStreams(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& actions);

} // namespace posix
