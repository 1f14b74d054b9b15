#include "tests/companion/support/Program.h"

#include "tests/support/Environment.h"
#include "tests/support/Files.h"
#include "tests/support/HomeFolder.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace vostel_tests {

namespace {

using namespace std::chrono_literals;

std::vector<std::string> environmentFor(const std::filesystem::path& home) {
    refuseRealHome(home);
    return environmentWith({{"HOME", home.string()}, {"CFFIXED_USER_HOME", home.string()}, {"TERM", "xterm"}});
}

posix::FileDescriptor createdFile(const std::filesystem::path& path) {
    return posix::FileDescriptor{::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)};
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

} // namespace

Program::Program(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                 const std::filesystem::path& home)
    : output_{home / "output.txt"}, errors_{home / "errors.txt"} {
    const posix::FileDescriptor output = createdFile(output_);
    const posix::FileDescriptor errors = createdFile(errors_);
    auto started = posix::ChildProcess::start({.executable = executable,
                                               .arguments = arguments,
                                               .environment = environmentFor(home),
                                               .output = output.get(),
                                               .error = errors.get()});
    if (started) process_.emplace(*std::move(started));
    EXPECT_TRUE(process_) << executable;
}

void Program::signal(int number) const { ::kill(process_->id(), number); }

int Program::status() {
    if (process_) status_ = process_->wait();
    process_.reset();
    return status_;
}

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
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), executable);
    std::vector<std::string> environment = environmentFor(home);
    // Deliberate: not a ChildProcess, because a terminal belongs to the session that opens it first.
    process_ = ::fork();
    if (process_ != 0) return;
    ::setsid();
    const int inside = ::open(name.c_str(), O_RDWR);
    ::ioctl(inside, TIOCSCTTY, 0);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) ::dup2(inside, stream);
    ::close(inside);
    ::execve(executable.c_str(), pointers(words).data(), pointers(environment).data());
    ::_exit(127);
}

ProgramOnTerminal::~ProgramOnTerminal() {
    if (process_ > 0) ::kill(process_, SIGKILL);
    std::ignore = status();
}

void ProgramOnTerminal::type(std::string_view text) const {
    std::ignore = ::write(terminal_.get(), text.data(), text.size());
}

bool ProgramOnTerminal::shows(std::string_view text) {
    const auto giveUp = std::chrono::steady_clock::now() + 120s;
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

int ProgramOnTerminal::status() {
    if (process_ <= 0) return status_;
    int raw = 0;
    ::waitpid(std::exchange(process_, 0), &raw, 0);
    status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : -WTERMSIG(raw);
    return status_;
}

} // namespace vostel_tests
