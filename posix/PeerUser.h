// Who stands at the other end of a socket. One implementation per system beside this header.
#pragma once

#include <optional>
#include <sys/types.h>

namespace posix {

/// The user id of the process that connected; absent when the system cannot tell.
[[nodiscard]] std::optional<uid_t> peerUser(int socket);

} // namespace posix
