#include "tests/companion/support/Program.h"

#include "tests/support/Files.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace vostel_tests {

namespace {

using namespace std::chrono_literals;

/// Becomes the program; only after a fork.
[[noreturn]] void become(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                         const std::filesystem::path& home) {
    ::setenv("HOME", home.c_str(), 1);
    ::setenv("TERM", "xterm", 1);
    std::vector<char*> raw{const_cast<char*>(executable.c_str())};
    for (const std::string& argument : arguments) raw.push_back(const_cast<char*>(argument.c_str()));
    raw.push_back(nullptr);
    ::execv(executable.c_str(), raw.data());
    ::_exit(127);
}

/// Waits for the process unless that is done.
int waitFor(pid_t& process, int& status) {
    if (process <= 0) return status;
    int raw = 0;
    ::waitpid(std::exchange(process, 0), &raw, 0);
    status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
    return status;
}

} // namespace

Program::Program(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                 const std::filesystem::path& home)
    : output_{home / "output.txt"}, errors_{home / "errors.txt"} {
    process_ = ::fork();
    if (process_ != 0) return;
    ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
    ::dup2(::open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
    ::dup2(::open(errors_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
    become(executable, arguments, home);
}

Program::~Program() {
    if (process_ > 0) ::kill(process_, SIGKILL);
    std::ignore = status();
}

void Program::signal(int number) const { ::kill(process_, number); }

int Program::status() { return waitFor(process_, status_); }

std::string Program::output() const { return readFile(output_); }
std::string Program::errors() const { return readFile(errors_); }

ProgramOnTerminal::ProgramOnTerminal(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                                     const std::filesystem::path& home)
    : terminal_{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)} {
    ::grantpt(terminal_.get());
    ::unlockpt(terminal_.get());
    const winsize size{24, 80, 0, 0};
    ::ioctl(terminal_.get(), TIOCSWINSZ, &size);
    const std::string name = ::ptsname(terminal_.get());
    process_ = ::fork();
    if (process_ != 0) return;
    ::setsid();
    const int inside = ::open(name.c_str(), O_RDWR);
    ::ioctl(inside, TIOCSCTTY, 0);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(inside, stream);
    ::close(inside);
    become(executable, arguments, home);
}

ProgramOnTerminal::~ProgramOnTerminal() {
    if (process_ > 0) ::kill(process_, SIGKILL);
    std::ignore = status();
}

void ProgramOnTerminal::type(std::string_view text) const {
    std::ignore = ::write(terminal_.get(), text.data(), text.size());
}

bool ProgramOnTerminal::shows(std::string_view text) {
    const auto giveUp = std::chrono::steady_clock::now() + 30s;
    while (true) {
        if (const auto at = screen_.find(text, seen_); at != std::string::npos) {
            seen_ = at + text.size();
            return true;
        }
        if (std::chrono::steady_clock::now() > giveUp) return false;
        pollfd event{terminal_.get(), POLLIN, 0};
        if (::poll(&event, 1, 100) == 0) continue;
        char bytes[1024];
        // The end of the program is an error here.
        const ssize_t count = ::read(terminal_.get(), bytes, sizeof bytes);
        if (count <= 0) return false;
        screen_.append(bytes, static_cast<std::size_t>(count));
    }
}

int ProgramOnTerminal::status() { return waitFor(process_, status_); }

} // namespace vostel_tests
