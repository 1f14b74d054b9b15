#include "posix/Pipe.h"
#include "posix/WakePipe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace posix {
namespace {

bool isReadable(const FileDescriptor& descriptor) {
    pollfd one{descriptor.get(), POLLIN, 0};
    return ::poll(&one, 1, 0) == 1;
}

TEST(Pipe, carries_bytes_and_is_inherited_by_no_program) {
    const auto pipe = Pipe::make();
    ASSERT_TRUE(pipe);
    for (const FileDescriptor* end : {&pipe->reader, &pipe->writer}) {
        EXPECT_EQ(::fcntl(end->get(), F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(end->get(), F_GETFL) & O_NONBLOCK, 0);
    }
    EXPECT_EQ(::write(pipe->writer.get(), "ab", 2), 2);
    char bytes[3] = "";
    EXPECT_EQ(::read(pipe->reader.get(), bytes, 2), 2);
    EXPECT_STREQ(bytes, "ab");
}

TEST(WakePipe, is_readable_after_a_wake_until_it_is_drained) {
    const auto pipe = WakePipe::make();
    ASSERT_TRUE(pipe);
    EXPECT_FALSE(isReadable(pipe->reader()));
    pipe->wake();
    pipe->wake();
    EXPECT_TRUE(isReadable(pipe->reader()));
    pipe->drain();
    EXPECT_FALSE(isReadable(pipe->reader()));
}

TEST(WakePipe, takes_more_wakes_than_a_pipe_holds) {
    const auto pipe = WakePipe::make();
    ASSERT_TRUE(pipe);
    for (int count = 0; count < 70'000; ++count) pipe->wake();
    EXPECT_TRUE(isReadable(pipe->reader()));
    pipe->drain();
    EXPECT_FALSE(isReadable(pipe->reader()));
}

} // namespace
} // namespace posix
