#include "companion/socket/ListeningSocket.h"

#include "companion/support/InQuotes.h"
#include "kit/connect/MCPSocketAddress.h"
#include "kit/support/match.h"
#include "posix/BrokenPipe.h"
#include "posix/Peer.h"
#include "posix/PrivateFolder.h"
#include "posix/UnixSocket.h"

#include <cerrno>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace vostel_companion {

using VostelMCPKit::MCPConnectLogic::socketPath;
using VostelMCPKit::MCPConnectLogic::validateSocketPathLength;

namespace {

constexpr const char* lockFileName = "Vostel.pid";
/// The system reduces this to its own limit. Some systems refuse a connection when the backlog is full, and the server
/// would take that for an application that is not running.
constexpr int backlog = std::numeric_limits<int>::max();

std::unexpected<ListenError> failed(std::unexpected<posix::SystemError> error) {
    return std::unexpected(ListenError{std::move(error.error())});
}

std::expected<posix::FileLock, ListenError> takeLock(const std::filesystem::path& file) {
    auto lock = posix::FileLock::tryAcquire(file, posix::FileLock::IfMissing::create);
    if (!lock && lock.error().reason.errorNumber == EWOULDBLOCK) {
        return std::unexpected(ListenError{ListenError::AlreadyRunning{}});
    }
    if (!lock) return std::unexpected(ListenError{std::move(lock.error())});
    const int descriptor = lock->file().get();
    const std::string text = std::to_string(::getpid()) + "\n";
    if (::ftruncate(descriptor, 0) != 0 ||
        ::pwrite(descriptor, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        return failed(posix::systemError("write", file));
    }
    return *std::move(lock);
}

/// Removes the socket of a crashed process. We hold the lock, so only a program that does not use the lock could still
/// answer on the socket.
std::expected<void, ListenError> removeStaleSocket(const std::string& path) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return {};
        return failed(posix::systemError("look at", path));
    }
    if (!S_ISSOCK(status.st_mode)) return std::unexpected(ListenError{ListenError::PathTaken{path}});
    const auto answered = posix::UnixSocket::connect(path);
    if (answered) return std::unexpected(ListenError{ListenError::AlreadyRunning{}});
    if (answered.error().errorNumber != ECONNREFUSED)
        return failed(posix::systemError("reach", path, answered.error().errorNumber));
    if (::unlink(path.c_str()) != 0) return failed(posix::systemError("remove", path));
    return {};
}

} // namespace

std::expected<void, ListenError> prepareFolder(const std::filesystem::path& folder) {
    auto isPrivate = posix::ensurePrivateFolder(folder);
    if (!isPrivate) return std::unexpected(ListenError{std::move(isPrivate.error())});
    if (!*isPrivate) return std::unexpected(ListenError{ListenError::UnsafeFolder{folder.string()}});
    return {};
}

std::string ListenError::description() const {
    return VostelMCPKit::match(
        is, [](const AlreadyRunning&) { return std::string{"Vostel is already running."}; },
        [](const UnsafeFolder& folder) {
            return "Vostel does not serve from " + inQuotes(folder.path) +
                   ", because it is not a folder that belongs to you and that only you can write to.";
        },
        [](const PathTaken& taken) {
            return "Vostel cannot serve at " + inQuotes(taken.path) + ", because a file that is not a socket is there.";
        },
        [](const VostelMCPKit::ConnectError& error) { return error.errorDescription(); },
        [](const posix::SystemError& error) { return error.description(); });
}

std::expected<ListeningSocket, ListenError>
ListeningSocket::open(const std::filesystem::path& applicationSupportDirectory) {
    std::string path = socketPath(applicationSupportDirectory);
    if (auto fits = validateSocketPathLength(path); !fits) return std::unexpected(ListenError{fits.error()});
    const std::filesystem::path folder = std::filesystem::path{path}.parent_path();
    if (auto prepared = prepareFolder(folder); !prepared) return std::unexpected(prepared.error());
    auto lock = takeLock(folder / lockFileName);
    if (!lock) return std::unexpected(lock.error());
    return listen(std::move(path), *std::move(lock));
}

std::expected<ListeningSocket, ListenError>
ListeningSocket::openInUnsafeFolder(const std::filesystem::path& applicationSupportDirectory) {
    return listen(socketPath(applicationSupportDirectory), std::nullopt);
}

std::expected<ListeningSocket, ListenError> ListeningSocket::listen(std::string path,
                                                                    std::optional<posix::FileLock> lock) {
    const auto address = VostelMCPKit::MCPConnectLogic::socketAddress(path);
    if (!address) return std::unexpected(ListenError{address.error()});
    if (auto removed = removeStaleSocket(path); !removed) return std::unexpected(removed.error());

    posix::FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM, 0)};
    if (!socket.isOpen()) return failed(posix::systemError("create a socket"));
    posix::setCloseOnExec(socket);
    posix::setNonBlocking(socket);
    posix::suppressBrokenPipe(socket.get());
    // The socket is restricted from the start. A later chmod would leave a gap.
    const mode_t mask = ::umask(0177);
    const int bound = ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address);
    const int errorNumber = errno;
    ::umask(mask);
    if (bound != 0) return failed(posix::systemError("bind", path, errorNumber));
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0 || ::listen(socket.get(), backlog) != 0) {
        return failed(posix::systemError("listen at", path));
    }
    return ListeningSocket{std::move(path), std::move(lock), std::move(socket), status.st_ino};
}

ListeningSocket::~ListeningSocket() {
    if (!socket_.isOpen()) return;
    struct stat status{};
    if (::lstat(path_.c_str(), &status) == 0 && status.st_ino == fileNumber_) ::unlink(path_.c_str());
    // The file itself stays. If it were removed, two processes could lock two files of the same name.
    if (lock_) std::ignore = ::ftruncate(lock_->file().get(), 0);
}

std::expected<posix::FileDescriptor, VostelMCPKit::PosixError> ListeningSocket::accept() const {
    posix::FileDescriptor connection{::accept(socket_.get(), nullptr, nullptr)};
    if (!connection.isOpen()) return std::unexpected(VostelMCPKit::PosixError{errno});
    posix::setCloseOnExec(connection);
    posix::UnixSocket::widenBuffers(connection.get());
    if (posix::peerUser(connection.get()) != ::geteuid()) return std::unexpected(VostelMCPKit::PosixError{EACCES});
    return connection;
}

} // namespace vostel_companion
