#include "posix/PeerUser.h"

#include <sys/socket.h>

namespace posix {

std::optional<uid_t> peerUser(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
    return peer.uid;
}

} // namespace posix
