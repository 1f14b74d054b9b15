#include "kit/connect/MCPSocketAddress.h"
#include "posix/UnixSocket.h"
#include "tests/support/BytesOf.h"
#include "tests/support/SignalTicks.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

namespace posix {
namespace {

using vostel_tests::bytesOf;
using VostelMCPKit::PosixError;

struct Ends {
    FileDescriptor here, there;
};

Ends streamPair() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    return {FileDescriptor{ends[0]}, FileDescriptor{ends[1]}};
}

/// A socket that listens at `path`.
FileDescriptor listenAt(const std::string& path) {
    FileDescriptor listener{::socket(AF_UNIX, SOCK_STREAM, 0)};
    const auto address = VostelMCPKit::MCPConnectLogic::socketAddress(path);
    EXPECT_TRUE(address && ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0);
    EXPECT_EQ(::listen(listener.get(), /*backlog=*/1), 0);
    return listener;
}

TEST(UnixSocket, connects_to_the_socket_that_listens_at_the_path) {
    const vostel_tests::TemporaryFolder folder;
    const std::string path = folder.path() / "mcp.sock";
    const FileDescriptor listener = listenAt(path);
    const auto connected = UnixSocket::connect(path);
    ASSERT_TRUE(connected);
    const FileDescriptor accepted{::accept(listener.get(), nullptr, nullptr)};
    ASSERT_TRUE(UnixSocket::writeAll(connected->get(), bytesOf("hello")));
    std::array<char, 16> read{};
    EXPECT_EQ(::recv(accepted.get(), read.data(), read.size(), 0), 5);
    EXPECT_STREQ(read.data(), "hello");
}

/// The size of a socket's buffer for one direction.
int bufferSize(int socket, int direction) {
    int size = 0;
    socklen_t length = sizeof size;
    EXPECT_EQ(::getsockopt(socket, SOL_SOCKET, direction, &size, &length), 0);
    return size;
}

TEST(UnixSocket, connects_with_buffers_of_a_megabyte_or_the_system_limit_in_each_direction) {
    const vostel_tests::TemporaryFolder folder;
    const std::string path = folder.path() / "mcp.sock";
    const FileDescriptor listener = listenAt(path);
    const auto connected = UnixSocket::connect(path);
    ASSERT_TRUE(connected);
    for (const int direction : {SO_SNDBUF, SO_RCVBUF}) {
        const Ends plain = streamPair();
        const int usual = bufferSize(plain.here.get(), direction);
        const int megabyte = 1 << 20;
        ASSERT_EQ(::setsockopt(plain.here.get(), SOL_SOCKET, direction, &megabyte, sizeof megabyte), 0);
        const int allowed = bufferSize(plain.here.get(), direction);
        EXPECT_EQ(bufferSize(connected->get(), direction), allowed);
        EXPECT_GT(allowed, usual) << "else this test shows nothing";
    }
}

TEST(UnixSocket, a_path_of_103_bytes_is_connected_to) {
    const vostel_tests::TemporaryFolder folder;
    std::string path = folder.path() / "";
    path.resize(103, 'p');
    const FileDescriptor listener = listenAt(path);
    EXPECT_TRUE(UnixSocket::connect(path));
}

TEST(UnixSocket, a_failed_connect_reports_the_systems_reason_and_leaves_no_descriptor) {
    const vostel_tests::TemporaryFolder folder;
    const std::string noSocket = folder.path() / "file";
    const std::string abandoned = folder.path() / "abandoned.sock";
    folder.write("file", "");
    std::ignore = listenAt(abandoned);
    struct Row {
        const char* when;
        std::string path;
        int code;
    };
    const Row rows[] = {
        {"nothing there", folder.path() / "missing.sock", ENOENT},
        {"no process listens any more", abandoned, ECONNREFUSED},
        {"no socket", noSocket, ECONNREFUSED},
        {"below a file", noSocket + "/mcp.sock", ENOTDIR},
    };
    const FileDescriptor before{::dup(0)};
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto connected = UnixSocket::connect(row.path);
        ASSERT_FALSE(connected);
        EXPECT_EQ(connected.error(), PosixError{row.code});
    });
    const FileDescriptor after{::dup(0)};
    EXPECT_EQ(after.get(), before.get() + 1);
}

TEST(UnixSocket, a_write_that_is_interrupted_and_taken_in_parts_continues) {
    const Ends ends = streamPair();
    std::string sent;
    for (std::size_t number = 0; sent.size() < 500'000; ++number) sent += std::to_string(number) + ',';
    std::string received(sent.size() + 1, '\0');
    std::size_t count = 0;
    const auto readSome = [&] {
        const ssize_t read = ::recv(ends.there.get(), received.data() + count, received.size() - count, MSG_DONTWAIT);
        if (read > 0) count += static_cast<std::size_t>(read);
    };
    {
        // The writer fills the socket and is interrupted a few times before the reader begins.
        const vostel_tests::SignalTicks ticks{[&](int tick) {
            if (tick > 5) readSome();
        }};
        EXPECT_TRUE(UnixSocket::writeAll(ends.here.get(), bytesOf(sent)));
    }
    readSome();
    received.resize(count);
    EXPECT_TRUE(received == sent);
}

TEST(UnixSocket, a_closed_peer_is_a_failure_and_not_a_signal) {
    Ends ends = streamPair();
    ends.there = {};
    const auto written = UnixSocket::writeAll(ends.here.get(), bytesOf("hello"));
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), PosixError{EPIPE});
}

TEST(UnixSocket, an_empty_text_is_written) {
    const Ends ends = streamPair();
    EXPECT_TRUE(UnixSocket::writeAll(ends.here.get(), {}));
}

TEST(FileDescriptor, closes_what_it_owns_and_nothing_else) {
    const auto isOpen = [](int number) { return ::fcntl(number, F_GETFD) >= 0; };
    const int number = ::dup(0);
    {
        FileDescriptor first{number};
        FileDescriptor second{std::move(first)};
        EXPECT_EQ(second.get(), number);
        FileDescriptor third;
        EXPECT_LT(third.get(), 0);
        third = std::move(second);
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));

    const int overwritten = ::dup(0);
    FileDescriptor owner{overwritten};
    owner = FileDescriptor{::dup(0)};
    EXPECT_FALSE(isOpen(overwritten));
    EXPECT_TRUE(isOpen(owner.get()));
}

} // namespace
} // namespace posix
