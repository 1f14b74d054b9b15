// The socket on which the application waits for vostel-mcp.
//
// It lies in a folder that nobody else may enter, which also holds a file with our process id. Whoever holds the lock
// on that file is the application; the lock goes with its process, however that ends.
#pragma once

#include "kit/connect/MCPConnectLogic.h"
#include "posix/FileDescriptor.h"

#include <expected>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <variant>

namespace vostel_companion {

struct ListenError {
    struct AlreadyRunning {
        bool operator==(const AlreadyRunning&) const = default;
    };
    /// The folder belongs to somebody else, others may write to it, or it is no folder.
    struct UnsafeFolder {
        std::string path;
        bool operator==(const UnsafeFolder&) const = default;
    };
    /// What stands at the socket's path is not a socket, and not ours to remove.
    struct PathTaken {
        std::string path;
        bool operator==(const PathTaken&) const = default;
    };
    struct System {
        /// What was tried, as in "create the folder '/x'".
        std::string attempt;
        /// An errno value.
        int code;
        bool operator==(const System&) const = default;
    };

    std::variant<AlreadyRunning, UnsafeFolder, PathTaken, VostelMCPKit::ConnectError, System> is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const ListenError&) const = default;
};

/// Creates the application's folder, in which everything of ours is, when it is missing, and closes it to others.
/// Refuses one that others could have prepared.
[[nodiscard]] std::expected<void, ListenError> prepareFolder(const std::filesystem::path& folder);

/// Bound and listening from `open` to the destructor, which removes the socket and then gives up the lock. Not
/// thread-safe.
class ListeningSocket final {
public:
    /// Creates the folder when it is missing. Of two processes that try at once, one succeeds and the other one finds
    /// it already running; a socket that a crashed process left behind is replaced, one that somebody answers on is
    /// not. To be called before other threads create files: it changes the process's file mask for a moment.
    [[nodiscard]] static std::expected<ListeningSocket, ListenError>
    open(const std::filesystem::path& applicationSupportDirectory);
    ListeningSocket(ListeningSocket&&) noexcept = default;
    ListeningSocket& operator=(ListeningSocket&&) = delete;
    ~ListeningSocket();

    [[nodiscard]] int descriptor() const { return socket_.get(); }
    /// A connection that waits, by our own user and closed on exec; an errno value when there is none.
    [[nodiscard]] std::expected<posix::FileDescriptor, int> accept() const;

private:
    ListeningSocket(std::string path, posix::FileDescriptor lock, posix::FileDescriptor socket, ino_t fileNumber)
        : path_{std::move(path)}, lock_{std::move(lock)}, socket_{std::move(socket)}, fileNumber_{fileNumber} {}

    std::string path_;
    posix::FileDescriptor lock_;
    posix::FileDescriptor socket_;
    /// Of the socket in the file system, so that no other one is removed in its place.
    ino_t fileNumber_;
};

} // namespace vostel_companion
