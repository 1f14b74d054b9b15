#include "posix/SystemError.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace posix {
namespace {

TEST(SystemError, says_what_was_attempted_and_why_it_failed) {
    errno = EACCES;
    EXPECT_EQ(systemError("create a socket").error().description(),
              "Vostel could not create a socket: Permission denied.");
    errno = ENOENT;
    EXPECT_EQ(systemError("open", "/a b").error().description(),
              "Vostel could not open '/a b': No such file or directory.");
    EXPECT_EQ(systemError("read", "/a", EIO).error(), (SystemError{"read '/a'", {EIO}}));
}

} // namespace
} // namespace posix
