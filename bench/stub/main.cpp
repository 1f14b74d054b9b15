// The stub application: stub-application SOCKET. It listens there, writes "ready" to its standard output, and serves
// until its standard input is closed, so that it never outlives the driver.
#include "bench/stub/StubApplication.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

int listenAt(std::string_view path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return -1;
    std::memcpy(address.sun_path, path.data(), path.size());

    // Larger than the number of calls that any row makes at once.
    constexpr int backlog = 4096;
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
    if (::listen(listener, backlog) != 0 || ::fcntl(listener, F_SETFL, O_NONBLOCK) != 0) return -1;
    return listener;
}

void allowManyDescriptors() {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: stub-application SOCKET\n", stderr);
        return 2;
    }
    allowManyDescriptors();
    const int listener = listenAt(argv[1]);
    if (listener < 0) {
        std::perror("stub-application: listening failed");
        return 1;
    }
    vostel_bench::StubApplication application(listener);
    std::puts("ready");
    std::fflush(stdout);
    application.serve(STDIN_FILENO);
    return 0;
}
