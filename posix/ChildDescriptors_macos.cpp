#include "posix/ChildDescriptors.h"

#include <tuple>

namespace posix {

void closeAllButStandardStreams(posix_spawnattr_t& attributes, posix_spawn_file_actions_t& /*actions*/) {
    short flags = 0;
    std::ignore = ::posix_spawnattr_getflags(&attributes, &flags);
    std::ignore = ::posix_spawnattr_setflags(&attributes, static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT));
}

} // namespace posix
