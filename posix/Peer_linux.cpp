#include "posix/Peer.h"

#include <sys/socket.h>

namespace posix {

namespace {

std::optional<ucred> peerOf(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
    return peer;
}

} // namespace

std::optional<uid_t> peerUser(int socket) {
    const auto peer = peerOf(socket);
    return peer ? std::optional{peer->uid} : std::nullopt;
}

std::optional<pid_t> peerProcess(int socket) {
    const auto peer = peerOf(socket);
    return peer && peer->pid > 0 ? std::optional{peer->pid} : std::nullopt;
}

} // namespace posix
