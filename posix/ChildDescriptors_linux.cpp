#include "posix/ChildDescriptors.h"

#include <tuple>

namespace posix {

void closeAllButStandardStreams(posix_spawnattr_t& /*attributes*/, posix_spawn_file_actions_t& actions) {
    std::ignore = ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
}

} // namespace posix
