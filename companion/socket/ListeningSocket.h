// The socket on which the application waits for vostel-mcp.
//
// The socket is in a folder that no other user may enter. The folder also holds a file with our process id. The process
// that holds the lock on that file is the application. The system releases the lock when the process ends.
#pragma once

#include "kit/connect/MCPConnectLogic.h"
#include "posix/FileDescriptor.h"
#include "posix/FileLock.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <variant>

namespace vostel_companion {

struct ListenError {
    struct AlreadyRunning {
        bool operator==(const AlreadyRunning&) const = default;
    };
    /// The folder belongs to another user, other users may write to it, or it is not a folder.
    struct UnsafeFolder {
        std::string path;
        bool operator==(const UnsafeFolder&) const = default;
    };
    /// The file at the socket's path is not a socket, so it must not be removed.
    struct PathTaken {
        std::string path;
        bool operator==(const PathTaken&) const = default;
    };
    std::variant<AlreadyRunning, UnsafeFolder, PathTaken, VostelMCPKit::ConnectError, posix::SystemError> is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const ListenError&) const = default;
};

/// Creates the application's folder if it is missing and closes it to other users. Fails if another user could have
/// prepared the folder.
[[nodiscard]] std::expected<void, ListenError> prepareFolder(const std::filesystem::path& folder);

/// Listens from `open` to the destructor, which removes the socket and then releases the lock. Not thread-safe.
class ListeningSocket final {
public:
    /// Creates the folder if it is missing. If two processes try at once, one succeeds and the other one fails with
    /// AlreadyRunning. A socket that a crashed process left is replaced; one on which a process answers is not. Call it
    /// before other threads create files, because it changes the process's file mask for a moment.
    [[nodiscard]] static std::expected<ListeningSocket, ListenError>
    open(const std::filesystem::path& applicationSupportDirectory);
    /// The same in a folder that `open` found unsafe. Only for an application that answers every call with that error.
    /// It reads nothing secret there and says nothing secret.
    [[nodiscard]] static std::expected<ListeningSocket, ListenError>
    openInUnsafeFolder(const std::filesystem::path& applicationSupportDirectory);
    ListeningSocket(ListeningSocket&&) noexcept = default;
    ListeningSocket& operator=(ListeningSocket&&) = delete;
    ~ListeningSocket();

    [[nodiscard]] int descriptor() const { return socket_.get(); }
    /// The next waiting connection of our own user, closed on exec; EACCES for another user's.
    [[nodiscard]] std::expected<posix::FileDescriptor, VostelMCPKit::PosixError> accept() const;

private:
    [[nodiscard]] static std::expected<ListeningSocket, ListenError> listen(std::string path,
                                                                            std::optional<posix::FileLock> lock);
    ListeningSocket(std::string path, std::optional<posix::FileLock> lock, posix::FileDescriptor socket,
                    ino_t fileNumber)
        : path_{std::move(path)}, lock_{std::move(lock)}, socket_{std::move(socket)}, fileNumber_{fileNumber} {}

    std::string path_;
    /// Absent in an unsafe folder, where the file could be a link to another one.
    std::optional<posix::FileLock> lock_;
    posix::FileDescriptor socket_;
    /// Identifies our socket in the file system, so that the destructor does not remove another one.
    ino_t fileNumber_;
};

} // namespace vostel_companion
