#include "companion/socket/ListeningSocket.h"
#include "posix/UnixSocket.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/endForkedProcess.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace vostel_companion {

using vostel_tests::endForkedProcess;
using vostel_tests::TemporaryFolder;

namespace {

/// An Application Support folder for one test.
class Place {
public:
    [[nodiscard]] std::filesystem::path support() const { return folder_.path() / "Library"; }
    [[nodiscard]] std::filesystem::path folder() const { return support() / "com.vostel.vostel"; }
    [[nodiscard]] std::filesystem::path socket() const { return folder() / "mcp.sock"; }

    [[nodiscard]] bool answers() const { return posix::UnixSocket::connect(socket()).has_value(); }
    [[nodiscard]] std::string refusal() const {
        const auto opened = ListeningSocket::open(support());
        return opened ? "" : opened.error().description();
    }

private:
    TemporaryFolder folder_;
};

mode_t permissions(const std::filesystem::path& path) {
    struct stat status{};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// Leaves a socket file as a killed process does.
void leaveStaleSocket(const std::filesystem::path& path) {
    const posix::FileDescriptor socket{::socket(AF_UNIX, SOCK_STREAM, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
}

} // namespace

TEST(ListeningSocket, writing_to_a_client_that_left_before_it_was_accepted_fails_without_a_signal) {
    const Place place;
    const auto socket = ListeningSocket::open(place.support());
    ASSERT_TRUE(socket);
    ASSERT_TRUE(posix::UnixSocket::connect(place.socket()));
    const auto accepted = socket->accept();
    ASSERT_TRUE(accepted);
    const std::byte answer{};
    EXPECT_FALSE(posix::UnixSocket::writeAll(accepted->get(), {&answer, 1}));
}

TEST(ListeningSocket, a_burst_of_clients_waits_to_be_accepted_and_none_is_refused) {
    const Place place;
    const auto socket = ListeningSocket::open(place.support());
    ASSERT_TRUE(socket);
    std::vector<posix::FileDescriptor> clients;
    for (int client = 0; client < 200; ++client) {
        posix::FileDescriptor connection{::socket(AF_UNIX, SOCK_STREAM, 0)};
        ::fcntl(connection.get(), F_SETFL, O_NONBLOCK);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", place.socket().c_str());
        ASSERT_EQ(::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0)
            << client;
        clients.push_back(std::move(connection));
    }
    for (std::size_t client = 0; client < clients.size(); ++client) EXPECT_TRUE(socket->accept()) << client;
}

TEST(ListeningSocket, an_accepted_connection_has_the_buffer_sizes_of_its_client) {
    const Place place;
    const auto socket = ListeningSocket::open(place.support());
    ASSERT_TRUE(socket);
    const auto client = posix::UnixSocket::connect(place.socket());
    const auto accepted = socket->accept();
    ASSERT_TRUE(client && accepted);
    for (const int direction : {SO_SNDBUF, SO_RCVBUF}) {
        int expected = 0;
        int size = 0;
        socklen_t length = sizeof size;
        EXPECT_EQ(::getsockopt(client->get(), SOL_SOCKET, direction, &expected, &length), 0);
        EXPECT_EQ(::getsockopt(accepted->get(), SOL_SOCKET, direction, &size, &length), 0);
        EXPECT_EQ(size, expected);
    }
}

TEST(ListeningSocket, is_closed_to_other_users_and_so_is_its_folder) {
    const Place place;
    const mode_t mask = ::umask(0);
    const auto socket = ListeningSocket::open(place.support());
    EXPECT_EQ(::umask(mask), 0U) << "the file mask is restored";
    ASSERT_TRUE(socket);
    EXPECT_EQ(permissions(place.folder()), 0700U);
    EXPECT_EQ(permissions(place.socket()), 0600U);
    EXPECT_EQ(permissions(place.folder() / "Vostel.pid"), 0600U);
    EXPECT_TRUE(place.answers());
}

TEST(ListeningSocket, writes_our_process_id_while_it_is_open) {
    const Place place;
    const auto id = [&] {
        std::string text;
        std::ifstream{place.folder() / "Vostel.pid"} >> text;
        return text;
    };
    {
        const auto socket = ListeningSocket::open(place.support());
        ASSERT_TRUE(socket);
        EXPECT_EQ(id(), std::to_string(::getpid()));
    }
    EXPECT_EQ(id(), "");
}

TEST(ListeningSocket, is_removed_at_the_end_and_can_be_opened_again) {
    const Place place;
    { ASSERT_TRUE(ListeningSocket::open(place.support())); }
    EXPECT_FALSE(std::filesystem::exists(place.socket()));
    EXPECT_TRUE(ListeningSocket::open(place.support()));
}

TEST(ListeningSocket, a_second_start_finds_the_first_one_running) {
    const Place place;
    const auto socket = ListeningSocket::open(place.support());
    EXPECT_EQ(place.refusal(), "Vostel is already running.");
    EXPECT_TRUE(place.answers()) << "the first one continues";
}

TEST(ListeningSocket, if_many_processes_start_at_once_one_succeeds) {
    for (int round = 0; round < 5; ++round) {
        const Place place;
        // Processes, because the lock belongs to an open file. The exit status is the result.
        int gate[2];
        int opened[2];
        int release[2];
        for (int* ends : {gate, opened, release}) ASSERT_EQ(::pipe(ends), 0);
        char byte = 0;
        for (int i = 0; i < 4; ++i) {
            if (::fork() != 0) continue;
            ::close(gate[1]);
            ::close(release[1]);
            std::ignore = ::read(gate[0], &byte, 1);
            const auto socket = ListeningSocket::open(place.support());
            if (!socket) endForkedProcess(socket.error() == ListenError{ListenError::AlreadyRunning{}} ? 1 : 2);
            std::ignore = ::write(opened[1], "", 1);
            // Holds the lock until every other start was refused.
            std::ignore = ::read(release[0], &byte, 1);
            endForkedProcess(0);
        }
        ::close(gate[1]);
        int refused = 0;
        int status = 0;
        for (int i = 0; i < 3; ++i) {
            ASSERT_GT(::wait(&status), 0);
            refused += WIFEXITED(status) && WEXITSTATUS(status) == 1 ? 1 : 0;
        }
        EXPECT_EQ(refused, 3);
        EXPECT_EQ(::read(opened[0], &byte, 1), 1);
        EXPECT_TRUE(place.answers());
        ::close(release[1]);
        ASSERT_GT(::wait(&status), 0);
        EXPECT_EQ(WEXITSTATUS(status), 0);
        for (const int end : {gate[0], opened[0], opened[1], release[0]}) ::close(end);
    }
}

TEST(ListeningSocket, a_stale_socket_is_replaced) {
    const Place place;
    std::filesystem::create_directories(place.folder());
    leaveStaleSocket(place.socket());
    EXPECT_FALSE(place.answers());
    const auto socket = ListeningSocket::open(place.support());
    ASSERT_TRUE(socket) << socket.error().description();
    EXPECT_TRUE(place.answers());
}

TEST(ListeningSocket, a_socket_on_which_a_process_answers_is_not_removed) {
    const Place place;
    std::filesystem::create_directories(place.folder());
    const posix::FileDescriptor other{::socket(AF_UNIX, SOCK_STREAM, 0)};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", place.socket().c_str());
    ASSERT_EQ(::bind(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(other.get(), 8), 0);
    EXPECT_EQ(place.refusal(), "Vostel is already running.");
    EXPECT_TRUE(place.answers());
}

TEST(ListeningSocket, a_socket_that_replaced_ours_is_not_removed) {
    const Place place;
    {
        const auto socket = ListeningSocket::open(place.support());
        std::filesystem::rename(place.socket(), place.folder() / "old.sock");
        leaveStaleSocket(place.socket());
    }
    EXPECT_TRUE(std::filesystem::exists(place.socket()));
}

TEST(ListeningSocket, a_file_that_is_not_a_socket_is_not_removed) {
    const Place place;
    vostel_tests::writeFile(place.socket(), "a text");
    EXPECT_EQ(place.refusal(), "Vostel cannot serve at '" + place.socket().string() +
                                   "', because a file that is not a socket is there.");
    EXPECT_TRUE(std::filesystem::is_regular_file(place.socket()));
}

TEST(ListeningSocket, a_folder_that_other_users_can_write_to_is_refused) {
    const Place place;
    const std::string sentence = "Vostel does not serve from '" + place.folder().string() +
                                 "', because it is not a folder that belongs to you and that only you can write to.";
    struct Row {
        const char* when;
        mode_t mode;
        std::string expected;
    };
    const Row rows[] = {{"the group writes", 0770, sentence},
                        {"everybody writes", 0707, sentence},
                        {"others can read", 0755, ""},
                        {"private", 0700, ""}};
    std::filesystem::create_directories(place.folder());
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ASSERT_EQ(::chmod(place.folder().c_str(), row.mode), 0);
        EXPECT_EQ(place.refusal(), row.expected);
        if (row.expected.empty()) {
            EXPECT_EQ(permissions(place.folder()), 0700U) << "it is private from now on";
        }
    });
}

TEST(ListeningSocket, a_folder_of_another_user_is_refused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can give a folder away";
    const Place place;
    std::filesystem::create_directories(place.folder());
    ASSERT_EQ(::chown(place.folder().c_str(), 65534, 65534), 0);
    EXPECT_TRUE(place.refusal().starts_with("Vostel does not serve from "));
}

TEST(ListeningSocket, a_link_or_a_file_in_place_of_the_folder_is_refused) {
    const Place place;
    std::filesystem::create_directories(place.support() / "elsewhere");
    std::filesystem::create_directory_symlink(place.support() / "elsewhere", place.folder());
    EXPECT_TRUE(place.refusal().starts_with("Vostel does not serve from "));
    std::filesystem::remove(place.folder());
    vostel_tests::writeFile(place.folder(), "");
    EXPECT_TRUE(place.refusal().starts_with("Vostel does not serve from "));
}

TEST(ListeningSocket, a_path_that_is_too_long_for_clients_is_refused) {
    const TemporaryFolder folder;
    const auto opened = ListeningSocket::open(folder.path() / std::string(100, 'x'));
    ASSERT_FALSE(opened);
    EXPECT_TRUE(opened.error().description().starts_with("Vostel MCP socket path '"));
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << "nothing is created";
}

TEST(ListeningSocket, a_process_of_another_user_is_not_accepted) {
    if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can become another user";
    const Place place;
    const auto socket = ListeningSocket::open(place.support());
    ASSERT_TRUE(socket);
    // The folder is closed to other users, so it is opened for this test.
    std::filesystem::permissions(place.support().parent_path(), std::filesystem::perms::all);
    std::filesystem::permissions(place.support(), std::filesystem::perms::all);
    std::filesystem::permissions(place.folder(), std::filesystem::perms::all);
    std::filesystem::permissions(place.socket(), std::filesystem::perms::all);
    const pid_t child = ::fork();
    if (child == 0) {
        const bool dropped = ::setuid(65534) == 0;
        const auto connected = posix::UnixSocket::connect(place.socket());
        endForkedProcess(dropped && connected ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(WEXITSTATUS(status), 0) << "the other user did connect";
    const auto accepted = socket->accept();
    ASSERT_FALSE(accepted);
    EXPECT_EQ(accepted.error(), VostelMCPKit::PosixError{EACCES});

    ASSERT_TRUE(place.answers());
    EXPECT_TRUE(socket->accept()) << "our own user is accepted";
}

} // namespace vostel_companion
