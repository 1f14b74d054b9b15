#include "server/LaunchBundle_linux.h"

#include "posix/FileDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vostel_mcp {

namespace {

using VostelMCPKit::PosixError;

/// What a property list of a bundle holds at most; empty when the file cannot be read.
std::string beginningOf(const std::filesystem::path& file) {
    const posix::FileDescriptor descriptor{open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    std::string content(65'536, '\0');
    const ssize_t count = read(descriptor.get(), content.data(), content.size());
    content.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return content;
}

/// Lets every descriptor from 3 on vanish with the exec.
void closeOthersOnExec() {
    if (close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) == 0) return;
    // A kernel before 5.11, or a container that forbids what it does not know.
    const long end = sysconf(_SC_OPEN_MAX);
    for (int descriptor = 3; descriptor < end; ++descriptor) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

/// The life of the launched process up to its own program. Only async-signal-safe calls: other threads of the parent
/// may have held locks at the fork. Does not return.
[[noreturn]] void becomeApplication(const char* executable, char* const arguments[], int report) {
    if (setsid() < 0 || chdir("/") != 0) _exit(errno);
    // The second fork leaves the first child, which ends at once, as the only one to reap.
    if (const pid_t child = fork(); child != 0) _exit(child < 0 ? 1 : 0);

    // Where a standard stream of ours is closed, the report has taken its number.
    report = fcntl(report, F_DUPFD_CLOEXEC, 3);
    const int null = open("/dev/null", O_RDWR);
    for (int stream = 0; stream <= 2; ++stream) dup2(null, stream);
    // The report vanishes with the others, and its end tells the parent of success.
    closeOthersOnExec();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);

    execv(executable, arguments);
    const int failure = errno;
    std::ignore = write(report, &failure, sizeof failure);
    _exit(127);
}

} // namespace

std::expected<void, PosixError> launchBundle(const std::filesystem::path& bundle) {
    const std::string executable = bundleExecutable(bundle).string();
    if (access(executable.c_str(), X_OK) != 0) return std::unexpected(PosixError{errno});

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return std::unexpected(PosixError{errno});
    const posix::FileDescriptor reading{ends[0]};
    posix::FileDescriptor writing{ends[1]};
    char* const arguments[] = {const_cast<char*>(executable.c_str()), nullptr};
    const pid_t child = fork();
    if (child < 0) return std::unexpected(PosixError{errno});
    if (child == 0) becomeApplication(executable.c_str(), arguments, writing.get());
    writing = posix::FileDescriptor{};

    int failure = 0;
    ssize_t count = 0;
    do {
        count = read(reading.get(), &failure, sizeof failure);
    } while (count < 0 && errno == EINTR);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    if (count == sizeof failure) return std::unexpected(PosixError{failure});
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::unexpected(PosixError{EIO});
    return {};
}

std::filesystem::path bundleExecutable(const std::filesystem::path& bundle) {
    std::string name = executableName(beginningOf(bundle / "Contents" / "Info.plist"));
    if (name.empty()) name = bundle.stem();
    return bundle / "Contents" / "MacOS" / name;
}

std::string executableName(std::string_view inPropertyList) {
    constexpr std::string_view key = "<key>CFBundleExecutable</key>";
    constexpr std::string_view opening = "<string>";
    constexpr std::string_view closing = "</string>";
    const auto keyStart = inPropertyList.find(key);
    if (keyStart == inPropertyList.npos) return {};
    std::string_view rest = inPropertyList.substr(keyStart + key.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r\n"), rest.size()));
    if (!rest.starts_with(opening)) return {};
    rest.remove_prefix(opening.size());
    const std::string_view name = rest.substr(0, rest.find(closing));
    // A name with markup, a slash or a NUL in it is none that we would run.
    constexpr std::string_view refused{"/&<\0", 4};
    if (name.size() == rest.size() || name.find_first_of(refused) != name.npos || name == "." || name == "..")
        return {};
    return std::string{name};
}

} // namespace vostel_mcp
