#include "bench/driver/Session.h"

#include "bench/driver/Failure.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace vostel_bench {

namespace {

/// In milliseconds. Longer than any exchange takes. If a server hangs, it ends the run.
constexpr int answerTimeout = 120'000;

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> made;
    for (std::string& string : strings) made.push_back(string.data());
    made.push_back(nullptr);
    return made;
}

std::vector<std::string> environmentWithHome(const std::string& home) {
    // macOS prefers CFFIXED_USER_HOME.
    std::vector<std::string> made = {"HOME=" + home, "CFFIXED_USER_HOME=" + home};
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view name = std::string_view{*entry}.substr(0, std::string_view{*entry}.find('='));
        if (name != "HOME" && name != "CFFIXED_USER_HOME") made.emplace_back(*entry);
    }
    return made;
}

} // namespace

Session::Session(const Launch& launch, Inbox& inbox) : inbox_(inbox) {
    int input[2];
    int output[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(output, O_CLOEXEC) != 0) failWithErrno("no pipe");

    // Deliberate: not a posix::ChildProcess. The driver must not link code that it measures.
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, launch.log.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                       0600);

    std::vector<std::string> command = launch.command;
    std::vector<std::string> environment = environmentWithHome(launch.home);
    errno = ::posix_spawnp(&process_, command.front().c_str(), &actions, nullptr, pointers(command).data(),
                           pointers(environment).data());
    if (errno != 0) failWithErrno("cannot start " + command.front());

    ::posix_spawn_file_actions_destroy(&actions);
    ::close(input[0]);
    ::close(output[1]);
    toServer_ = input[1];
    fromServer_ = output[0];
    ::fcntl(toServer_, F_SETFL, O_NONBLOCK);
    ::fcntl(fromServer_, F_SETFL, O_NONBLOCK);
}

Session::~Session() {
    ::close(toServer_);
    // The server's output closes when the server ends. Its last bytes are ignored.
    pollfd output{.fd = fromServer_, .events = POLLIN, .revents = 0};
    constexpr int exitTimeout = 10'000;
    while (::poll(&output, 1, exitTimeout) == 1 && ::read(fromServer_, inbox_.data(), inbox_.size()) > 0) {}
    const bool left = (output.revents & POLLHUP) != 0;
    if (!left) ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    ::close(fromServer_);
    if (!left) fail("a server did not end at the end of its input");
}

std::string_view Session::exchange(const Requests& requests, std::size_t lines, std::size_t atOnce,
                                   Timestamps* timestamps) {
    const auto note = [](std::vector<std::chrono::steady_clock::time_point>& times, std::size_t count) {
        if (times.size() < count) times.resize(count, std::chrono::steady_clock::now());
    };
    const std::string_view outgoing = requests.lines;
    std::size_t written = 0;
    std::size_t received = 0;
    std::size_t complete = 0;
    for (;;) {
        const std::size_t unanswered = requests.ends.size() - std::min(complete, requests.ends.size());
        const std::size_t allowed = requests.ends.size() - unanswered + std::min(atOnce, unanswered);
        const std::size_t allowedBytes = allowed == 0 ? 0 : requests.ends[allowed - 1];
        if (written < allowedBytes) written += writeSome(outgoing.substr(written, allowedBytes - written));
        if (timestamps != nullptr) {
            const auto next = std::ranges::upper_bound(requests.ends, written);
            note(timestamps->written, static_cast<std::size_t>(next - requests.ends.begin()));
        }

        wait(written < allowedBytes);
        const std::span room = std::span{inbox_}.subspan(received);
        if (room.empty()) fail("the answers of a server are larger than they should be");
        const std::span news = room.first(readSome(room));
        received += news.size();
        complete += static_cast<std::size_t>(std::ranges::count(news, '\n'));
        if (timestamps != nullptr) note(timestamps->answered, complete);
        if (complete >= lines) break;
    }
    const std::string_view answers{inbox_.data(), received};
    if (complete != lines || !answers.ends_with('\n')) fail("a server wrote more lines than it should");
    return answers;
}

std::size_t Session::writeSome(std::string_view bytes) {
    const ssize_t count = ::write(toServer_, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EAGAIN && errno != EINTR) failWithErrno("a server takes no more input");
    return 0;
}

std::size_t Session::readSome(std::span<char> room) {
    const ssize_t count = ::read(fromServer_, room.data(), room.size());
    if (count > 0) return static_cast<std::size_t>(count);
    if (count == 0) fail("a server ended before it had answered");
    if (errno != EAGAIN && errno != EINTR) failWithErrno("a server's output cannot be read");
    return 0;
}

void Session::wait(bool toWriteToo) {
    pollfd ends[] = {{.fd = fromServer_, .events = POLLIN, .revents = 0},
                     {.fd = toServer_, .events = POLLOUT, .revents = 0}};
    const int ready = ::poll(ends, toWriteToo ? 2 : 1, answerTimeout);
    if (ready == 0) fail("a server has not answered for two minutes");
}

} // namespace vostel_bench
