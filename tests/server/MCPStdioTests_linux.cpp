#include "posix/FileDescriptor.h"
#include "server/MCPStdio.h"
#include "tests/support/BytesOf.h"
#include "tests/support/Table.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

/// Replaces the system's poll when it is set.
std::function<int(pollfd*)> replacement;

} // namespace

// The linker sends every call of poll here.
extern "C" int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
extern "C" int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
    return replacement ? replacement(descriptors) : __real_poll(descriptors, count, timeout);
}

namespace vostel_mcp {
namespace {

using namespace std::chrono_literals;

TEST(MCPStdio, a_stream_that_poll_cannot_wait_for_fails_and_is_not_tried_again) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    const posix::FileDescriptor reader{ends[0]};
    const posix::FileDescriptor writer{ends[1]};
    const char full[4096] = {};
    while (::write(writer.get(), full, sizeof full) > 0) {}

    // macOS answers in this way for a terminal.
    int polls = 0;
    replacement = [&](pollfd* descriptors) {
        descriptors->revents = POLLNVAL;
        ++polls;
        return 1;
    };
    const auto written = MCPStdio::attemptWrite(writer.get(), vostel_tests::bytesOf("line\n"));
    replacement = nullptr;
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), VostelMCPKit::PosixError{EBADF});
    EXPECT_EQ(polls, 1);
}

TEST(MCPStdio, a_wait_is_repeated_after_a_temporary_failure_only) {
    struct Row {
        const char* when;
        int error;
        bool repeats;
        std::chrono::milliseconds shortest;
    };
    const Row rows[] = {
        {"a signal", EINTR, true, 0ms},
        {"no resources, with a pause", EAGAIN, true, 3ms},
        {"no memory, with a pause", ENOMEM, true, 3ms},
        {"an invalid argument", EINVAL, false, 0ms},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) {
        int ends[2];
        ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
        const posix::FileDescriptor reader{ends[0]};
        const posix::FileDescriptor writer{ends[1]};
        char bytes[4096] = {};
        while (::write(writer.get(), bytes, sizeof bytes) > 0) {}

        int failures = 0;
        replacement = [&](pollfd* descriptors) {
            // A pause must not use poll, which is what fails.
            EXPECT_NE(descriptors, nullptr);
            if (descriptors == nullptr) return -1;
            if (failures < 3) {
                ++failures;
                errno = row.error;
                return -1;
            }
            while (::read(reader.get(), bytes, sizeof bytes) > 0) {}
            descriptors->revents = POLLOUT;
            return 1;
        };
        const auto start = std::chrono::steady_clock::now();
        const auto written = MCPStdio::attemptWrite(writer.get(), vostel_tests::bytesOf("line\n"));
        replacement = nullptr;
        EXPECT_GE(std::chrono::steady_clock::now() - start, row.shortest);
        EXPECT_EQ(failures, row.repeats ? 3 : 1);
        using Written = std::expected<std::int64_t, VostelMCPKit::PosixError>;
        EXPECT_EQ(written, row.repeats ? Written{5} : std::unexpected(VostelMCPKit::PosixError{row.error}));
    });
}

} // namespace
} // namespace vostel_mcp
