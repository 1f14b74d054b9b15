// The application that a launch starts in the tests. It tells the test how it was started, and runs until the test
// closes the connection.
//
// The test listens at Contents/control.sock of the bundle that this executable is in. It receives one line, a JSON
// object, and closes the connection to end this process.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using nlohmann::json;
namespace files = std::filesystem;

namespace {

json openDescriptors() {
    json descriptors = json::object();
    for (const auto& entry : files::directory_iterator{"/proc/self/fd"}) {
        std::error_code gone;
        const auto target = files::read_symlink(entry.path(), gone);
        // The listing itself is read through a descriptor.
        if (!gone && !target.native().starts_with("/proc/")) descriptors[entry.path().filename()] = target;
    }
    return descriptors;
}

bool brokenPipeSignalIsDefault() {
    struct sigaction action{};
    sigset_t blocked;
    ::sigprocmask(SIG_BLOCK, nullptr, &blocked);
    return ::sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL &&
           !sigismember(&blocked, SIGPIPE);
}

int connectToTest(const files::path& controlSocket) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, controlSocket.c_str(), sizeof address.sun_path - 1);
    const int control = ::socket(AF_UNIX, SOCK_STREAM, 0);
    return ::connect(control, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? control : -1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const char* home = std::getenv("HOME");
    const json report = {
        {"executable", files::path{arguments[0]}.filename()},
        {"argumentCount", argumentCount},
        {"processID", ::getpid()},
        {"parent", ::getppid()},
        {"session", getsid(0)},
        {"workingFolder", files::current_path()},
        {"home", home != nullptr ? home : ""},
        {"descriptors", openDescriptors()},
        {"brokenPipeSignalIsDefault", brokenPipeSignalIsDefault()},
    };
    const auto contents = files::read_symlink("/proc/self/exe").parent_path().parent_path();
    const int control = connectToTest(contents / "control.sock");
    const std::string line = report.dump() + "\n";
    if (control < 0 || ::send(control, line.data(), line.size(), MSG_NOSIGNAL) < 0) return EXIT_FAILURE;
    char released;
    return ::recv(control, &released, 1, 0) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
