#include "posix/ChildProcess.h"

#include "posix/ChildDescriptors.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tuple>

namespace posix {

using VostelMCPKit::PosixError;

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

/// How the child differs from us.
class SpawnPlan final {
public:
    explicit SpawnPlan(int output) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        std::ignore = posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        std::ignore = posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
        std::ignore = posix_spawn_file_actions_adddup2(&actions_, output, STDERR_FILENO);

        // Our threads keep the signals that end us blocked for the one thread that waits for them.
        sigset_t none;
        sigemptyset(&none);
        sigset_t usual;
        sigemptyset(&usual);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGCHLD}) sigaddset(&usual, signal);
        std::ignore = posix_spawnattr_setsigmask(&attributes_, &none);
        std::ignore = posix_spawnattr_setsigdefault(&attributes_, &usual);
        std::ignore = posix_spawnattr_setpgroup(&attributes_, 0);
        std::ignore = posix_spawnattr_setflags(
            &attributes_, static_cast<short>(POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
        closeAllButStandardStreams(attributes_, actions_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const { return &actions_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

std::expected<ChildProcess, PosixError> ChildProcess::start(const std::filesystem::path& executable,
                                                            std::vector<std::string> arguments,
                                                            std::vector<std::string> environment) {
    int ends[2];
    if (::pipe(ends) != 0) return std::unexpected(PosixError{errno});
    FileDescriptor reading{ends[0]};
    const FileDescriptor writing{ends[1]};
    for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
    ::fcntl(reading.get(), F_SETFL, O_NONBLOCK);

    arguments.insert(arguments.begin(), executable.string());
    const SpawnPlan plan{writing.get()};
    pid_t process = 0;
    const int failure = ::posix_spawn(&process, executable.c_str(), plan.actions(), plan.attributes(),
                                      pointers(arguments).data(), pointers(environment).data());
    if (failure != 0) return std::unexpected(PosixError{failure});
    return ChildProcess{process, std::move(reading)};
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : process_{std::exchange(other.process_, 0)}, output_{std::move(other.output_)} {}

ChildProcess::~ChildProcess() {
    if (process_ != 0) std::ignore = end();
}

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    // Left to be waited for, so that its number, which is that of its group, is nobody else's yet.
    return ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

int ChildProcess::end() {
    const pid_t process = std::exchange(process_, 0);
    ::kill(-process, SIGKILL);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

} // namespace posix
