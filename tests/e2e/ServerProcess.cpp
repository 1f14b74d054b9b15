#include "tests/e2e/ServerProcess.h"

#include "tests/support/HomeFolder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vostel_tests {

namespace {

struct Stream {
    posix::FileDescriptor ours;
    posix::FileDescriptor theirs;
};

enum class Flow { toServer, fromServer };

Stream makeStream(Flow flow, bool nonBlockingSocket) {
    int ends[2] = {-1, -1};
    if (nonBlockingSocket) {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    } else {
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    }
    Stream stream{posix::FileDescriptor{ends[flow == Flow::toServer ? 1 : 0]},
                  posix::FileDescriptor{ends[flow == Flow::toServer ? 0 : 1]}};
    ::fcntl(stream.ours.get(), F_SETFL, ::fcntl(stream.ours.get(), F_GETFL) | O_NONBLOCK);
    return stream;
}

std::vector<std::string> environmentFor(const ServerProcess::Setting& setting) {
    std::vector<std::string> variables = posix::currentEnvironment();
    std::erase_if(variables, [](const std::string& assignment) {
        const std::string_view name = std::string_view{assignment}.substr(0, assignment.find('='));
        return std::ranges::find(homeVariables, name) != std::end(homeVariables);
    });
    if (setting.home) setHome(variables, *setting.home);
    variables.insert(variables.end(), setting.environment.begin(), setting.environment.end());
    return variables;
}

/// Appends the available bytes; false at the end of the stream.
bool readAvailable(int descriptor, std::string& text) {
    char bytes[65'536];
    const ssize_t count = ::read(descriptor, bytes, sizeof bytes);
    if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

} // namespace

std::vector<std::string> fakeSystem(std::vector<std::string> faults) {
    // The sanitizer normally requires to be loaded first. It is not necessary here.
    faults.insert(faults.begin(), {"LD_PRELOAD=" FAKE_SYSTEM, "ASAN_OPTIONS=verify_asan_link_order=0"});
    return faults;
}

ServerProcess::ServerProcess(const Setting& setting) {
    std::signal(SIGPIPE, SIG_IGN);
    Stream input = makeStream(Flow::toServer, setting.streamsAreNonBlockingSockets);
    Stream output = makeStream(Flow::fromServer, setting.streamsAreNonBlockingSockets);
    Stream error = makeStream(Flow::fromServer, false);
    auto started = posix::ChildProcess::start({.executable = setting.executable,
                                               .arguments = setting.arguments,
                                               .environment = environmentFor(setting),
                                               .folder = setting.workingFolder,
                                               .input = input.theirs.get(),
                                               .output = output.theirs.get(),
                                               .error = error.theirs.get()});
    EXPECT_TRUE(started) << setting.executable << ": " << started.error().systemText();
    if (started) process_.emplace(*std::move(started));
    input_ = std::move(input.ours);
    output_ = std::move(output.ours);
    error_ = std::move(error.ours);
}

ServerProcess::~ServerProcess() {
    if (!process_) return;
    closeInput();
    EXPECT_EQ(waitForEnd(), (Ending{.exitStatus = 0}));
    EXPECT_EQ(errorText_, "vostel-mcp wire protocol v4\n");
    EXPECT_EQ(pendingOutput_, "") << "lines that the test did not expect";
}

void ServerProcess::write(std::string_view bytes) {
    while (!bytes.empty()) {
        // In parts, because the thread sanitizer checks all offered bytes at each call.
        const std::string_view portion = bytes.substr(0, 262'144);
        const ssize_t count = ::write(input_.get(), portion.data(), portion.size());
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            ADD_FAILURE() << "the server's standard input is closed";
            return;
        } else if (!waitUntilReady(input_.get(), POLLOUT, timeout())) {
            ADD_FAILURE() << "the server does not read its standard input";
            return;
        }
    }
}

void ServerProcess::send(std::string_view line) {
    std::string bytes{line};
    bytes += '\n';
    write(bytes);
}

void ServerProcess::signal(int number) const { EXPECT_EQ(::kill(processID(), number), 0); }

std::string ServerProcess::line() {
    for (;;) {
        const auto end = pendingOutput_.find('\n', searchedOutput_);
        if (end != std::string::npos) {
            std::string line = pendingOutput_.substr(0, end);
            pendingOutput_.erase(0, end + 1);
            searchedOutput_ = 0;
            return line;
        }
        searchedOutput_ = pendingOutput_.size();
        if (!readOutput(timeout())) {
            ADD_FAILURE() << "the server writes no line";
            return {};
        }
    }
}

void ServerProcess::expectOutputToBegin() {
    if (pendingOutput_.empty() && !waitUntilReady(output_.get(), POLLIN, timeout())) {
        ADD_FAILURE() << "the server writes nothing";
    }
}

void ServerProcess::expectSilence() {
    const bool spoke = !pendingOutput_.empty() || readOutput(silence);
    EXPECT_FALSE(spoke) << pendingOutput_;
}

Ending ServerProcess::waitForEnd() {
    if (ending_) return *ending_;
    // Standard error is open exactly as long as the process runs.
    const auto deadline = std::chrono::steady_clock::now() + timeout();
    bool outputIsOpen = output_.get() >= 0;
    for (bool errorIsOpen = true; errorIsOpen;) {
        std::array<pollfd, 2> streams{{{error_.get(), POLLIN, 0}, {outputIsOpen ? output_.get() : -1, POLLIN, 0}}};
        const auto rest = deadline - std::chrono::steady_clock::now();
        const auto limit = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
        const int ready = ::poll(streams.data(), streams.size(), /*timeout=*/limit > 0 ? static_cast<int>(limit) : 0);
        if (ready == 0) {
            ADD_FAILURE() << "the server does not end";
            ::kill(processID(), SIGKILL);
            break;
        }
        if (streams[0].revents != 0) errorIsOpen = readAvailable(error_.get(), errorText_);
        if (streams[1].revents != 0) outputIsOpen = readAvailable(output_.get(), pendingOutput_);
    }
    while (outputIsOpen && waitUntilReady(output_.get(), POLLIN, std::chrono::milliseconds{0})) {
        outputIsOpen = readAvailable(output_.get(), pendingOutput_);
    }
    const int status = process_->wait();
    process_.reset();
    ending_ = status < 0 ? Ending{.signal = -status} : Ending{.exitStatus = status};
    return *ending_;
}

std::size_t ServerProcess::descriptorCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{information("fd")}, {}));
}

std::size_t ServerProcess::threadCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{information("task")}, {}));
}

std::size_t ServerProcess::residentKiB() const {
    std::ifstream status{information("status")};
    for (std::string word; status >> word;) {
        std::size_t kibibytes = 0;
        if (word == "VmRSS:" && status >> kibibytes) return kibibytes;
    }
    ADD_FAILURE() << "the system does not report the memory of process " << processID();
    return 0;
}

bool ServerProcess::readOutput(std::chrono::milliseconds limit) {
    return waitUntilReady(output_.get(), POLLIN, limit) && readAvailable(output_.get(), pendingOutput_);
}

std::filesystem::path ServerProcess::information(std::string_view name) const {
    return std::filesystem::path{"/proc"} / std::to_string(processID()) / name;
}

} // namespace vostel_tests
