#include "bench/driver/Failure.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace vostel_bench {

void fail(std::string_view message) {
    std::fprintf(stderr, "bench-driver: %.*s\n", static_cast<int>(message.size()), message.data());
    std::exit(1);
}

void failWithErrno(std::string_view message) {
    const std::string reason = std::strerror(errno);
    fail(std::string{message} + ": " + reason);
}

} // namespace vostel_bench
