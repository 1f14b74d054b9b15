#include "companion/demo/Child.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace vostel_companion {

using VostelMCPKit::PosixError;

namespace {

/// Both ends vanish from other children.
std::expected<void, PosixError> makePipe(int (&ends)[2]) {
    if (pipe(ends) != 0) return std::unexpected(PosixError{errno});
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    return {};
}

} // namespace

std::expected<std::unique_ptr<Child>, PosixError> Child::start(const std::vector<std::string>& command) {
    int input[2];
    int output[2];
    if (const auto made = makePipe(input); !made) return std::unexpected(made.error());
    if (const auto made = makePipe(output); !made) return std::unexpected(made.error());
    // A child that has ended must show as a sentence, not end the demo.
    std::signal(SIGPIPE, SIG_IGN);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    pid_t process = 0;
    const int failure = posix_spawn(&process, arguments.front(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    if (failure != 0) {
        close(input[1]);
        close(output[0]);
        return std::unexpected(PosixError{failure});
    }
    return std::unique_ptr<Child>{new Child{process, fdopen(input[1], "w"), fdopen(output[0], "r")}};
}

Child::~Child() {
    std::fclose(input_);
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    std::fclose(output_);
}

void Child::write(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), input_);
    std::fflush(input_);
}

std::string Child::readLine() {
    char* line = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = getline(&line, &capacity, output_);
    std::string text = length > 0 ? std::string(line, static_cast<std::size_t>(length)) : std::string{};
    std::free(line);
    return text;
}

} // namespace vostel_companion
