#include "companion/socket/ListeningSocket.h"

#include "companion/support/InQuotes.h"
#include "kit/support/match.h"
#include "posix/BrokenPipe.h"
#include "posix/PeerUser.h"
#include "posix/UnixSocket.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace vostel_companion {

using VostelMCPKit::MCPConnectLogic::socketPath;
using VostelMCPKit::MCPConnectLogic::validateSocketPathLength;

namespace {

constexpr const char* lockFileName = "Vostel.pid";
constexpr int waitingConnections = 128;

std::unexpected<ListenError> systemFailure(const std::string& attempt, int code) {
    return std::unexpected(ListenError{ListenError::System{attempt, code}});
}

std::expected<posix::FileDescriptor, ListenError> takeLock(const std::filesystem::path& file) {
    posix::FileDescriptor lock{::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)};
    if (lock.get() < 0) return systemFailure("open " + inQuotes(file.string()), errno);
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EWOULDBLOCK) return std::unexpected(ListenError{ListenError::AlreadyRunning{}});
        return systemFailure("lock " + inQuotes(file.string()), errno);
    }
    const std::string text = std::to_string(::getpid()) + "\n";
    if (::ftruncate(lock.get(), 0) != 0 ||
        ::pwrite(lock.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
        return systemFailure("write " + inQuotes(file.string()), errno);
    return lock;
}

/// We hold the lock, so only a program that does not use the lock could still answer on the socket.
std::expected<void, ListenError> removeStaleSocket(const std::string& path) {
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return {};
        return systemFailure("look at " + inQuotes(path), errno);
    }
    if (!S_ISSOCK(status.st_mode)) return std::unexpected(ListenError{ListenError::PathTaken{path}});
    const auto answered = posix::UnixSocket::connect(path);
    if (answered) return std::unexpected(ListenError{ListenError::AlreadyRunning{}});
    if (answered.error().errorNumber != ECONNREFUSED)
        return systemFailure("reach " + inQuotes(path), answered.error().errorNumber);
    if (::unlink(path.c_str()) != 0) return systemFailure("remove " + inQuotes(path), errno);
    return {};
}

} // namespace

std::expected<void, ListenError> prepareFolder(const std::filesystem::path& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder.parent_path(), failure);
    if (failure) return systemFailure("create the folder " + inQuotes(folder.parent_path().string()), failure.value());
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        return systemFailure("create the folder " + inQuotes(folder.string()), errno);

    // Opened first and checked then, so that the folder cannot be exchanged in between.
    const posix::FileDescriptor opened{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status{};
    if (opened.get() < 0 || ::fstat(opened.get(), &status) != 0) {
        if (errno == ENOTDIR || errno == ELOOP)
            return std::unexpected(ListenError{ListenError::UnsafeFolder{folder.string()}});
        return systemFailure("open the folder " + inQuotes(folder.string()), errno);
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return std::unexpected(ListenError{ListenError::UnsafeFolder{folder.string()}});
    // Other users could read the folder, but not write to it. Close it to them.
    if ((status.st_mode & 0777) != 0700 && ::fchmod(opened.get(), 0700) != 0)
        return systemFailure("close the folder " + inQuotes(folder.string()) + " to other users", errno);
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
        [](const System& system) {
            return "Vostel could not " + system.attempt + ": " + std::generic_category().message(system.code) + ".";
        });
}

std::expected<ListeningSocket, ListenError>
ListeningSocket::open(const std::filesystem::path& applicationSupportDirectory) {
    std::string path = socketPath(applicationSupportDirectory);
    if (auto fits = validateSocketPathLength(path); !fits) return std::unexpected(ListenError{fits.error()});
    const std::filesystem::path folder = std::filesystem::path{path}.parent_path();
    if (auto prepared = prepareFolder(folder); !prepared) return std::unexpected(prepared.error());
    auto lock = takeLock(folder / lockFileName);
    if (!lock) return std::unexpected(lock.error());
    if (auto removed = removeStaleSocket(path); !removed) return std::unexpected(removed.error());

    posix::FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM, 0)};
    if (socket.get() < 0) return systemFailure("create a socket", errno);
    ::fcntl(socket.get(), F_SETFD, FD_CLOEXEC);
    ::fcntl(socket.get(), F_SETFL, O_NONBLOCK);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    // The socket is restricted from the start. A later chmod would leave a gap.
    const mode_t mask = ::umask(0177);
    const int bound = ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const int code = errno;
    ::umask(mask);
    if (bound != 0) return systemFailure("bind " + inQuotes(path), code);
    struct stat status{};
    if (::lstat(path.c_str(), &status) != 0 || ::listen(socket.get(), waitingConnections) != 0)
        return systemFailure("listen at " + inQuotes(path), errno);
    return ListeningSocket{std::move(path), *std::move(lock), std::move(socket), status.st_ino};
}

ListeningSocket::~ListeningSocket() {
    if (socket_.get() < 0) return;
    struct stat status{};
    if (::lstat(path_.c_str(), &status) == 0 && status.st_ino == fileNumber_) ::unlink(path_.c_str());
    // The file itself stays. If it were removed, two processes could lock two files of the same name.
    std::ignore = ::ftruncate(lock_.get(), 0);
}

std::expected<posix::FileDescriptor, int> ListeningSocket::accept() const {
    posix::FileDescriptor connection{::accept(socket_.get(), nullptr, nullptr)};
    if (connection.get() < 0) return std::unexpected(errno);
    ::fcntl(connection.get(), F_SETFD, FD_CLOEXEC);
    posix::suppressBrokenPipe(connection.get());
    if (posix::peerUser(connection.get()) != ::geteuid()) return std::unexpected(EACCES);
    return connection;
}

} // namespace vostel_companion
