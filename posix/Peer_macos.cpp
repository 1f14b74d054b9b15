#include "posix/Peer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace posix {

std::optional<uid_t> peerUser(int socket) {
    uid_t user = 0;
    gid_t group = 0;
    if (::getpeereid(socket, &user, &group) != 0) return std::nullopt;
    return user;
}

std::optional<pid_t> peerProcess(int socket) {
    pid_t process = 0;
    socklen_t size = sizeof process;
    if (::getsockopt(socket, SOL_LOCAL, LOCAL_PEERPID, &process, &size) != 0 || process <= 0) return std::nullopt;
    return process;
}

} // namespace posix
