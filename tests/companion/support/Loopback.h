// Addresses on this machine.
#pragma once

#include <cstdint>
#include <netinet/in.h>

namespace vostel_tests {

/// 127.0.0.1 with `port`. When a socket is bound to port 0, the system chooses a free one.
inline sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace vostel_tests
