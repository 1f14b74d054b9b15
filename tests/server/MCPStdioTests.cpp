#include "posix/FileDescriptor.h"
#include "server/MCPStdio.h"
#include "tests/support/BytesOf.h"
#include "tests/support/FakeThreads.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/SignalTicks.h"
#include "tests/support/Table.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vostel_mcp {
namespace {

using vostel_tests::bytesOf;
using vostel_tests::FakeThreads;
using vostel_tests::SignalTicks;
using VostelMCPKit::PosixError;

using Lines = std::vector<std::string>;

struct Pipe {
    posix::FileDescriptor reading, writing;

    Pipe() {
        int ends[2];
        if (::pipe(ends) != 0) std::abort();
        reading = posix::FileDescriptor{ends[0]};
        writing = posix::FileDescriptor{ends[1]};
    }

    void feed(std::string_view bytes) const {
        if (::write(writing.get(), bytes.data(), bytes.size()) < 0) std::abort();
    }
    /// Reads up to a page. May be called from a signal handler.
    std::size_t takePage() const {
        std::array<char, 4096> page;
        const ssize_t count = ::read(reading.get(), page.data(), page.size());
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }
};

void makeNonBlocking(const posix::FileDescriptor& descriptor) {
    ASSERT_EQ(::fcntl(descriptor.get(), F_SETFL, ::fcntl(descriptor.get(), F_GETFL) | O_NONBLOCK), 0);
}

/// Reads the descriptor to its end, on the thread of the test.
Lines linesOf(const posix::FileDescriptor& descriptor) {
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::atOnce};
    EXPECT_TRUE(MCPStdio::startReadingLines(descriptor.get(), channel, threads.starter()));
    vostel_tests::ManualExecutor executor;
    Lines lines;
    for (;;) {
        auto line = executor.run(channel.next());
        if (!line || !*line) return lines;
        lines.push_back(**std::move(line));
    }
}

Lines linesOfBytes(std::string_view bytes) {
    Pipe pipe;
    pipe.feed(bytes);
    pipe.writing = {};
    return linesOf(pipe.reading);
}

TEST(MCPStdio, every_complete_line_is_read_and_an_incomplete_last_one_is_not) {
    struct Row {
        const char* when;
        std::string_view bytes;
        Lines lines;
    };
    const Row rows[] = {
        {"nothing", "", {}},
        {"two lines", "a\nb\n", {"a", "b"}},
        {"a last line without its line feed", "a\nb", {"a"}},
        {"nothing but an unfinished line", "{\"jsonrpc\":", {}},
        {"empty lines", "\n\n", {"", ""}},
        {"a carriage return is kept", "x\r\n", {"x\r"}},
        {"a carriage return alone ends nothing", "x\ry\n", {"x\ry"}},
        {"a line that is not UTF-8 is dropped", "a\n\xFF\nb\n", {"a", "b"}},
        {"a NUL is a byte like any other", {"a\0b\n", 4}, {{"a\0b", 3}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(linesOfBytes(row.bytes), row.lines); });
}

TEST(MCPStdio, the_reader_has_a_named_thread_of_its_own) {
    Pipe pipe;
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::whenAsked};
    ASSERT_TRUE(MCPStdio::startReadingLines(pipe.reading.get(), channel, threads.starter()));
    EXPECT_EQ(threads.suffixes(), Lines{"stdin-reader"});
    EXPECT_EQ(threads.reverseDNSNames(), Lines{"com.vostel.vostel-mcp.stdin-reader"});
}

TEST(MCPStdio, a_reader_that_cannot_be_started_is_reported) {
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::atOnce};
    threads.failFrom(/*count=*/1, EAGAIN);
    const auto started = MCPStdio::startReadingLines(STDIN_FILENO, channel, threads.starter());
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error(), PosixError{EAGAIN});
}

TEST(MCPStdio, an_interrupted_read_is_retried_in_mid_line) {
    Pipe pipe;
    pipe.feed("hel");
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) pipe.feed("lo\n");
        if (tick == 8) pipe.writing = {};
    }};
    EXPECT_EQ(linesOf(pipe.reading), Lines{"hello"});
}

TEST(MCPStdio, a_non_blocking_input_is_waited_for) {
    Pipe pipe;
    makeNonBlocking(pipe.reading);
    pipe.feed("hel");
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) pipe.feed("lo\n");
        if (tick == 8) pipe.writing = {};
    }};
    EXPECT_EQ(linesOf(pipe.reading), Lines{"hello"});
}

TEST(MCPStdio, an_input_that_cannot_be_read_is_at_its_end) {
    const posix::FileDescriptor folder{::open("/", O_RDONLY)};
    EXPECT_EQ(linesOf(folder), Lines{});
    EXPECT_EQ(linesOf(posix::FileDescriptor{}), Lines{});
}

TEST(MCPStdio, a_write_reports_the_bytes_that_it_took) {
    const Pipe pipe;
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.get(), bytesOf("hello")), 5);
    EXPECT_EQ(pipe.takePage(), 5U);
}

TEST(MCPStdio, an_empty_write_makes_no_system_call) { EXPECT_EQ(MCPStdio::attemptWrite(/*descriptor=*/-1, {}), 0); }

TEST(MCPStdio, an_interrupted_write_is_retried) {
    const Pipe pipe;
    ASSERT_EQ(::fcntl(pipe.writing.get(), F_SETPIPE_SZ, 4096), 4096);
    pipe.feed(std::string(4096, 'x'));
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) std::ignore = pipe.takePage();
    }};
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.get(), bytesOf("hello")), 5);
}

TEST(MCPStdio, a_non_blocking_output_is_waited_for_and_takes_a_part_at_a_time) {
    const Pipe pipe;
    ASSERT_EQ(::fcntl(pipe.writing.get(), F_SETPIPE_SZ, 4096), 4096);
    makeNonBlocking(pipe.writing);
    const std::string text(5000, 'x');
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.get(), bytesOf(text)), 4096);
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) std::ignore = pipe.takePage();
    }};
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.get(), bytesOf(text).subspan(4096)), 904);
}

TEST(MCPStdio, a_write_that_cannot_succeed_reports_the_systems_reason) {
    const auto closed = MCPStdio::attemptWrite(/*descriptor=*/-1, bytesOf("hello"));
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error(), PosixError{EBADF});

    Pipe pipe;
    pipe.reading = {};
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const auto broken = MCPStdio::attemptWrite(pipe.writing.get(), bytesOf("hello"));
    std::signal(SIGPIPE, before);
    ASSERT_FALSE(broken);
    EXPECT_EQ(broken.error(), PosixError{EPIPE});
}

TEST(MCPStdio, a_write_of_as_many_bytes_as_there_is_room_for_does_not_wait) {
    struct Row {
        const char* when;
        std::size_t unread;
        std::size_t wanted;
        bool isSocket;
    };
    const Row rows[] = {
        {"an empty pipe", 0, 1'000'000, false},
        {"a pipe with one byte", 1, 1'000'000, false},
        {"a pipe with many bytes", 40'000, 1'000'000, false},
        {"a pipe with many bytes, for a short line", 40'000, 100, false},
        {"a socket", 0, 1'000'000, true},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Pipe output;
        if (row.isSocket) {
            int ends[2];
            ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
            output.reading = posix::FileDescriptor{ends[0]};
            output.writing = posix::FileDescriptor{ends[1]};
        }
        output.feed(std::string(row.unread, 'x'));
        const std::size_t room = MCPStdio::waitForRoom(output.writing.get(), row.wanted);
        EXPECT_GE(room, static_cast<std::size_t>(PIPE_BUF));
        makeNonBlocking(output.writing);
        const std::string bytes(room, 'y');
        EXPECT_EQ(::write(output.writing.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(room));
    });
}

} // namespace
} // namespace vostel_mcp
