#include "companion/demo/Child.h"

#include "posix/FileIO.h"
#include "posix/Pipe.h"

#include <array>
#include <csignal>
#include <span>
#include <tuple>
#include <unistd.h>

namespace vostel_companion {

std::expected<std::unique_ptr<Child>, VostelMCPKit::PosixError> Child::start(const std::vector<std::string>& command) {
    auto input = posix::Pipe::make();
    if (!input) return std::unexpected(input.error());
    auto output = posix::Pipe::make();
    if (!output) return std::unexpected(output.error());
    // Writing to a child that has ended must fail, not end the demo.
    std::signal(SIGPIPE, SIG_IGN);
    auto process = posix::ChildProcess::start({.executable = command.front(),
                                               .arguments = {command.begin() + 1, command.end()},
                                               .environment = posix::currentEnvironment(),
                                               .input = input->reader.get(),
                                               .output = output->writer.get(),
                                               .error = STDERR_FILENO});
    if (!process) return std::unexpected(process.error());
    return std::unique_ptr<Child>{new Child{*std::move(process), std::move(input->writer), std::move(output->reader)}};
}

Child::~Child() {
    input_ = {};
    std::ignore = process_.wait();
}

void Child::write(std::string_view text) { std::ignore = posix::writeAll(input_, text, "the child's input"); }

std::string Child::readLine() {
    std::size_t end = unread_.find('\n');
    while (end == std::string::npos) {
        std::array<char, 4096> piece;
        const auto count = posix::readSome(output_, std::as_writable_bytes(std::span{piece})).value_or(0);
        if (count == 0) return std::exchange(unread_, {});
        const std::size_t searched = unread_.size();
        unread_.append(piece.data(), count);
        end = unread_.find('\n', searched);
    }
    std::string line = unread_.substr(0, end + 1);
    unread_.erase(0, end + 1);
    return line;
}

} // namespace vostel_companion
