#include "posix/RandomUUID.h"

#include <cstdlib>
#include <sys/random.h>
#include <unistd.h>

namespace posix {

VostelMCPKit::UUID randomUUID() {
    std::array<std::uint8_t, 16> random;
    // Only a request for more than 256 bytes, or a system without randomness, could fail.
    if (::getentropy(random.data(), random.size()) != 0) std::abort();
    return VostelMCPKit::UUID::fromRandom(random);
}

} // namespace posix
