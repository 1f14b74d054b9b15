// Connecting to a listener whose backlog is full. On Linux this blocks.

#include "kit/connect/MCPSocketAddress.h"
#include "posix/UnixSocket.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <vector>

namespace posix {
namespace {

bool isBlocking(int socket) { return (::fcntl(socket, F_GETFL) & O_NONBLOCK) == 0; }

/// A listener with room for two connections.
struct Listener {
    vostel_tests::TemporaryFolder folder;
    std::string path = folder.path() / "mcp.sock";
    FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM, 0)};

    Listener() {
        const auto address = VostelMCPKit::MCPConnectLogic::socketAddress(path);
        const auto* bytes = reinterpret_cast<const sockaddr*>(&*address);
        EXPECT_EQ(::bind(socket.get(), bytes, sizeof *address), 0);
        EXPECT_EQ(::listen(socket.get(), /*backlog=*/1), 0);
    }
    [[nodiscard]] FileDescriptor accept() const { return FileDescriptor{::accept(socket.get(), nullptr, nullptr)}; }
};

TEST(UnixSocket, says_that_it_waits_only_when_the_backlog_is_full) {
    const Listener listener;
    int waits = 0;
    std::vector<FileDescriptor> connections;
    for (int count = 0; count < 2; ++count) {
        auto connected = UnixSocket::connect(listener.path, [&] { ++waits; });
        ASSERT_TRUE(connected);
        EXPECT_TRUE(isBlocking(connected->get()));
        connections.push_back(*std::move(connected));
    }
    EXPECT_EQ(waits, 0);

    // Otherwise connecting would never end.
    const auto connected = UnixSocket::connect(listener.path, [&] {
        ++waits;
        connections.push_back(listener.accept());
    });
    EXPECT_EQ(waits, 1);
    ASSERT_TRUE(connected);
    EXPECT_TRUE(isBlocking(connected->get()));
}

TEST(UnixSocket, does_not_wait_when_no_process_listens) {
    const vostel_tests::TemporaryFolder folder;
    const auto connected = UnixSocket::connect(folder.path() / "missing.sock", [] { FAIL() << "it waits"; });
    ASSERT_FALSE(connected);
    EXPECT_EQ(connected.error(), VostelMCPKit::PosixError{ENOENT});
}

} // namespace
} // namespace posix
