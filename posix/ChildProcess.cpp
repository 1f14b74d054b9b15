#include "posix/ChildProcess.h"

#include "posix/ChildDescriptors.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>

extern char** environ;

namespace posix {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

/// A copy whose number is above those of the standard streams. So installing one stream does not overwrite another.
FileDescriptor copied(int descriptor) {
    if (descriptor < 0) return FileDescriptor{::open("/dev/null", O_RDWR | O_CLOEXEC)};
    return FileDescriptor{::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)};
}

/// What posix_spawn changes in the child.
class SpawnPlan final {
public:
    SpawnPlan() {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawnattr_init(&attributes_);

        // Our threads block the termination signals, because one thread waits for them. The child must not inherit
        // that.
        sigset_t none;
        sigemptyset(&none);
        sigset_t usual;
        sigemptyset(&usual);
        for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE, SIGCHLD}) sigaddset(&usual, signal);
        std::ignore = ::posix_spawnattr_setsigmask(&attributes_, &none);
        std::ignore = ::posix_spawnattr_setsigdefault(&attributes_, &usual);
        std::ignore = ::posix_spawnattr_setpgroup(&attributes_, 0);
        std::ignore = ::posix_spawnattr_setflags(
            &attributes_, static_cast<short>(POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    void setStreams(const FileDescriptor& input, const FileDescriptor& output, const FileDescriptor& error) {
        std::ignore = ::posix_spawn_file_actions_adddup2(&actions_, input.get(), STDIN_FILENO);
        std::ignore = ::posix_spawn_file_actions_adddup2(&actions_, output.get(), STDOUT_FILENO);
        std::ignore = ::posix_spawn_file_actions_adddup2(&actions_, error.get(), STDERR_FILENO);
        closeAllButStandardStreams(attributes_, actions_);
    }

    void setFolder(const std::filesystem::path& folder) {
        if (!folder.empty()) std::ignore = ::posix_spawn_file_actions_addchdir_np(&actions_, folder.c_str());
    }

    [[nodiscard]] const posix_spawn_file_actions_t* actions() const { return &actions_; }
    [[nodiscard]] const posix_spawnattr_t* attributes() const { return &attributes_; }

private:
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

} // namespace

std::expected<ChildProcess, PosixError> ChildProcess::start(Program program) {
    const FileDescriptor input = copied(program.input);
    const FileDescriptor output = copied(program.output);
    const FileDescriptor error = copied(program.error);
    if (!input.isOpen() || !output.isOpen() || !error.isOpen()) return std::unexpected(PosixError{errno});
    SpawnPlan plan;
    plan.setStreams(input, output, error);
    plan.setFolder(program.folder);

    program.arguments.insert(program.arguments.begin(), program.executable.string());
    pid_t process = 0;
    const int failure = ::posix_spawn(&process, program.executable.c_str(), plan.actions(), plan.attributes(),
                                      pointers(program.arguments).data(), pointers(program.environment).data());
    if (failure != 0) return std::unexpected(PosixError{failure});
    return ChildProcess{process};
}

ChildProcess::~ChildProcess() {
    if (process_ != 0) std::ignore = kill();
}

// An ended process keeps its id, which is also the id of its group, until it is reaped. Only kill() reaps it, so a
// signal cannot reach another process with the same id.

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
}

int ChildProcess::wait() {
    siginfo_t info{};
    while (::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {}
    return kill();
}

int ChildProcess::kill() {
    const pid_t process = std::exchange(process_, 0);
    ::kill(-process, SIGKILL);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {}
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<std::string> currentEnvironment() {
    std::vector<std::string> variables;
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    return variables;
}

} // namespace posix
