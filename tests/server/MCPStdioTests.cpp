#include "posix/FileDescriptor.h"
#include "server/MCPStdio.h"
#include "tests/support/BytesOf.h"
#include "tests/support/FakeThreads.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/SignalTicks.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
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
        if (pipe(ends) != 0) std::abort();
        reading = posix::FileDescriptor{ends[0]};
        writing = posix::FileDescriptor{ends[1]};
    }

    void feed(std::string_view bytes) const {
        if (write(writing.number(), bytes.data(), bytes.size()) < 0) std::abort();
    }
    /// Takes out up to a page; may be called from a signal handler.
    std::size_t takePage() const {
        std::array<char, 4096> page;
        const ssize_t count = read(reading.number(), page.data(), page.size());
        return count > 0 ? static_cast<std::size_t>(count) : 0;
    }
};

void makeNonBlocking(const posix::FileDescriptor& descriptor) {
    ASSERT_EQ(fcntl(descriptor.number(), F_SETFL, fcntl(descriptor.number(), F_GETFL) | O_NONBLOCK), 0);
}

/// Reads the descriptor to its end, on the thread of the test.
Lines linesOf(const posix::FileDescriptor& descriptor) {
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::atOnce};
    EXPECT_TRUE(MCPStdio::startReadingLines(descriptor.number(), channel, threads.starter()));
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

TEST(MCPStdio, EveryCompleteLineIsPublishedAndTheUnfinishedLastOneNever) {
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
        {"a line that is no UTF-8 is dropped", "a\n\xFF\nb\n", {"a", "b"}},
        {"a NUL is a byte like any other", {"a\0b\n", 4}, {{"a\0b", 3}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(linesOfBytes(row.bytes), row.lines);
    }
}

TEST(MCPStdio, TheReaderHasANamedThreadOfItsOwn) {
    Pipe pipe;
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::whenAsked};
    ASSERT_TRUE(MCPStdio::startReadingLines(pipe.reading.number(), channel, threads.starter()));
    EXPECT_EQ(threads.suffixes(), Lines{"stdin-reader"});
    EXPECT_EQ(threads.reverseDNSNames(), Lines{"com.vostel.vostel-mcp.stdin-reader"});
}

TEST(MCPStdio, AReaderThatCannotBeStartedIsReported) {
    LineChannel channel;
    FakeThreads threads{FakeThreads::Run::atOnce};
    threads.haveNoRoomFrom(/*count=*/1, EAGAIN);
    const auto started = MCPStdio::startReadingLines(STDIN_FILENO, channel, threads.starter());
    ASSERT_FALSE(started);
    EXPECT_EQ(started.error(), PosixError{EAGAIN});
}

TEST(MCPStdio, AnInterruptedReadIsRetriedInMidLine) {
    Pipe pipe;
    pipe.feed("hel");
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) pipe.feed("lo\n");
        if (tick == 8) pipe.writing = {};
    }};
    EXPECT_EQ(linesOf(pipe.reading), Lines{"hello"});
}

TEST(MCPStdio, ANonBlockingInputIsWaitedFor) {
    Pipe pipe;
    makeNonBlocking(pipe.reading);
    pipe.feed("hel");
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) pipe.feed("lo\n");
        if (tick == 8) pipe.writing = {};
    }};
    EXPECT_EQ(linesOf(pipe.reading), Lines{"hello"});
}

TEST(MCPStdio, AnInputThatCannotBeReadIsAtItsEnd) {
    const posix::FileDescriptor folder{open("/", O_RDONLY)};
    EXPECT_EQ(linesOf(folder), Lines{});
    EXPECT_EQ(linesOf(posix::FileDescriptor{}), Lines{});
}

TEST(MCPStdio, AWriteReportsTheBytesThatItTook) {
    const Pipe pipe;
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.number(), bytesOf("hello")), 5);
    EXPECT_EQ(pipe.takePage(), 5U);
}

TEST(MCPStdio, NothingIsWrittenWithoutAskingTheSystem) { EXPECT_EQ(MCPStdio::attemptWrite(/*descriptor=*/-1, {}), 0); }

TEST(MCPStdio, AnInterruptedWriteIsRetried) {
    const Pipe pipe;
    ASSERT_EQ(fcntl(pipe.writing.number(), F_SETPIPE_SZ, 4096), 4096);
    pipe.feed(std::string(4096, 'x'));
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) std::ignore = pipe.takePage();
    }};
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.number(), bytesOf("hello")), 5);
}

TEST(MCPStdio, ANonBlockingOutputIsWaitedForAndTakesAPartAtATime) {
    const Pipe pipe;
    ASSERT_EQ(fcntl(pipe.writing.number(), F_SETPIPE_SZ, 4096), 4096);
    makeNonBlocking(pipe.writing);
    const std::string text(5000, 'x');
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.number(), bytesOf(text)), 4096);
    const SignalTicks ticks{[&](int tick) {
        if (tick == 5) std::ignore = pipe.takePage();
    }};
    EXPECT_EQ(MCPStdio::attemptWrite(pipe.writing.number(), bytesOf(text).subspan(4096)), 904);
}

TEST(MCPStdio, AWriteThatCannotSucceedReportsTheSystemsReason) {
    const auto closed = MCPStdio::attemptWrite(/*descriptor=*/-1, bytesOf("hello"));
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error(), PosixError{EBADF});

    Pipe pipe;
    pipe.reading = {};
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    const auto broken = MCPStdio::attemptWrite(pipe.writing.number(), bytesOf("hello"));
    std::signal(SIGPIPE, before);
    ASSERT_FALSE(broken);
    EXPECT_EQ(broken.error(), PosixError{EPIPE});
}

} // namespace
} // namespace vostel_mcp
