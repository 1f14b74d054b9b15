#include "companion/demo/Child.h"

#include "posix/FileIO.h"
#include "posix/Pipe.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <span>
#include <termios.h>
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

std::expected<std::unique_ptr<Child>, VostelMCPKit::PosixError>
Child::startOnTerminal(const std::vector<std::string>& command) {
    const auto failed = [] { return std::unexpected(VostelMCPKit::PosixError{errno}); };
    posix::FileDescriptor outside{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
    if (outside.get() < 0 || ::grantpt(outside.get()) != 0 || ::unlockpt(outside.get()) != 0) return failed();
    const posix::FileDescriptor inside{::open(::ptsname(outside.get()), O_RDWR | O_NOCTTY | O_CLOEXEC)};
    posix::FileDescriptor reader{::fcntl(outside.get(), F_DUPFD_CLOEXEC, 0)};
    termios settings{};
    if (inside.get() < 0 || reader.get() < 0 || ::tcgetattr(inside.get(), &settings) != 0) return failed();
    // Raw mode, because the terminal would otherwise add a carriage return to each line.
    ::cfmakeraw(&settings);
    if (::tcsetattr(inside.get(), TCSANOW, &settings) != 0) return failed();
    auto process = posix::ChildProcess::start({.executable = command.front(),
                                               .arguments = {command.begin() + 1, command.end()},
                                               .environment = posix::currentEnvironment(),
                                               .input = inside.get(),
                                               .output = inside.get(),
                                               .error = inside.get()});
    if (!process) return std::unexpected(process.error());
    return std::unique_ptr<Child>{new Child{*std::move(process), std::move(outside), std::move(reader)}};
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
