#include "server/LaunchBundle_linux.h"

#include "posix/FileDescriptor.h"
#include "posix/Pipe.h"
#include "server/PropertyList.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <span>
#include <sys/wait.h>
#include <unistd.h>

namespace vostel_mcp {

namespace {

using VostelMCPKit::PosixError;

constexpr std::size_t propertyListLimit = 65'536;

/// The beginning of a file; empty when it cannot be read.
std::string beginningOf(const std::filesystem::path& file) {
    const posix::FileDescriptor descriptor{::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    std::string content;
    if (!descriptor.isOpen()) return content;
    content.resize(propertyListLimit);
    std::size_t length = 0;
    while (length < content.size()) {
        const ssize_t count = ::read(descriptor.get(), content.data() + length, content.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        length += static_cast<std::size_t>(count);
    }
    content.resize(length);
    return content;
}

/// Makes exec close every descriptor from 3 on.
void closeOthersOnExec() {
    if (close_range(3, ~0U, CLOSE_RANGE_CLOEXEC) == 0) return;
    // The kernel is older than 5.11, or a container forbids the system call.
    const long end = ::sysconf(_SC_OPEN_MAX);
    for (int descriptor = 3; descriptor < end; ++descriptor) ::fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

/// Tells the parent how far the launch came. A first int says that everything is ready for the program. A second int,
/// an errno value, says that the program could not be run. The end of the stream after the first int means success. The
/// end without any int means that nothing was launched.
bool report(int descriptor, int value) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (::write(descriptor, &value, sizeof value) == sizeof value) return true;
    }
    return false;
}

bool redirectStandardStreams() {
    const int null = ::open("/dev/null", O_RDWR);
    if (null < 0) return false;
    for (int stream = 0; stream <= 2; ++stream) {
        if (::dup2(null, stream) != stream) return false;
    }
    return true;
}

// Only async-signal-safe calls in both processes: other threads of the parent may have held locks at the fork.

/// Runs the program in this process. If its streams or limits cannot be set, the program is not run.
[[noreturn]] void becomeApplication(const char* executable, char* const arguments[], int reporting,
                                    const rlimit& descriptorLimit) {
    // The report's descriptor may have the number of a standard stream, if that stream was closed in our process.
    const int high = ::fcntl(reporting, F_DUPFD_CLOEXEC, 3);
    if (high < 0 || !redirectStandardStreams()) ::_exit(1);
    // Also closes the report's descriptor at the exec.
    closeOthersOnExec();
    if (::setrlimit(RLIMIT_NOFILE, &descriptorLimit) != 0) ::_exit(1);
    // Before the signals are unblocked, because no handler of ours may run here.
    for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);

    if (!report(high, 0)) ::_exit(1);
    ::execv(executable, arguments);
    std::ignore = report(high, errno);
    ::_exit(127);
}

/// Starts the application's process and ends. So vostel-mcp has to reap only this process, its first child.
[[noreturn]] void startDetached(const char* executable, char* const arguments[], int reporting,
                                const rlimit& descriptorLimit) {
    if (::setsid() < 0 || ::chdir("/") != 0) ::_exit(1);
    const pid_t child = ::fork();
    // Unreachable in tests: a fork returns twice and is counted once, so both ways of this branch look like one.
    if (child == 0) becomeApplication(executable, arguments, reporting, descriptorLimit);
    ::_exit(child < 0 ? 1 : 0);
}

/// Reads the result of the launch from the report.
std::expected<void, PosixError> outcome(int descriptor) {
    std::array<int, 2> report{};
    std::span<std::byte> rest = std::as_writable_bytes(std::span{report});
    while (!rest.empty()) {
        const ssize_t count = ::read(descriptor, rest.data(), rest.size());
        if (count == 0) break;
        if (count > 0) {
            rest = rest.subspan(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return std::unexpected(PosixError{errno});
        }
    }
    if (rest.empty()) return std::unexpected(PosixError{report[1]});
    if (rest.size() > sizeof report[1]) return std::unexpected(PosixError{EIO});
    return {};
}

} // namespace

std::expected<void, PosixError> launchBundle(const std::filesystem::path& bundle, const rlimit& descriptorLimit) {
    const std::string executable = bundleExecutable(bundle).string();
    if (::access(executable.c_str(), X_OK) != 0) return std::unexpected(PosixError{errno});

    auto reports = posix::Pipe::make();
    if (!reports) return std::unexpected(reports.error());
    char* const arguments[] = {const_cast<char*>(executable.c_str()), nullptr};
    // Deliberate: not a posix::ChildProcess. The application must outlive us in its own session, and must not be our
    // child. posix_spawn cannot do that.
    const pid_t child = ::fork();
    if (child < 0) return std::unexpected(PosixError{errno});
    // Unreachable in tests: a fork returns twice and is counted once, so both ways of this branch look like one.
    if (child == 0) startDetached(executable.c_str(), arguments, reports->writer.get(), descriptorLimit);
    reports->writer = {};

    auto launched = outcome(reports->reader.get());
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {}
    return launched;
}

std::filesystem::path bundleExecutable(const std::filesystem::path& bundle) {
    std::string name = executableName(beginningOf(bundle / "Contents" / "Info.plist"));
    if (name.empty()) name = bundle.stem();
    return bundle / "Contents" / "MacOS" / name;
}

std::string executableName(std::string_view inPropertyList) {
    const std::string name = topLevelString(inPropertyList, "CFBundleExecutable").value_or("");
    // It must name a file in the bundle. A path could lead out of it.
    constexpr std::string_view refused{"/\0", 2};
    if (name.find_first_of(refused) != name.npos || name == "." || name == "..") return {};
    return name;
}

} // namespace vostel_mcp
