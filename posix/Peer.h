// The user and the process at the other end of a socket.
#pragma once

#include <optional>
#include <sys/types.h>

namespace posix {

/// The user id of the process that connected; absent when the system cannot tell.
[[nodiscard]] std::optional<uid_t> peerUser(int socket);

/// The id of the process that connected, or of the one that listens; absent when the system cannot tell.
[[nodiscard]] std::optional<pid_t> peerProcess(int socket);

} // namespace posix
