#include "kit/tools/MCPSystemResolver.h"

#include "kit/support/Unicode.h"

#include <memory>
#include <netdb.h>
#include <sys/socket.h>

namespace VostelMCPKit {

std::vector<std::string> resolveBySystem(const std::string& host) {
    // The system would resolve only the part before the NUL.
    if (host.contains('\0')) return {};

    addrinfo wanted{};
    wanted.ai_family = AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &wanted, &list) != 0) return {};
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner{list, freeaddrinfo};

    std::vector<std::string> addresses;
    for (const addrinfo* result = list; result != nullptr; result = result->ai_next) {
        char numeric[1025];
        const int status =
            ::getnameinfo(result->ai_addr, result->ai_addrlen, numeric, sizeof numeric, nullptr, 0, NI_NUMERICHOST);
        // A link-local address ends in the name of its interface, which may be any bytes.
        if (status == 0) addresses.push_back(repairedUTF8(numeric));
    }
    return addresses;
}

} // namespace VostelMCPKit
