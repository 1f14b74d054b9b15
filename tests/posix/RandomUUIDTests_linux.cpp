#include "posix/RandomUUID.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// True while a test simulates a sandbox that forbids the system call.
bool getentropyIsForbidden = false;

} // namespace

// The linker sends the calls of getentropy here.
extern "C" int __real_getentropy(void* buffer, size_t length);
extern "C" int __wrap_getentropy(void* buffer, size_t length);
int __wrap_getentropy(void* buffer, size_t length) {
    if (!getentropyIsForbidden) return __real_getentropy(buffer, length);
    errno = EPERM;
    return -1;
}

namespace posix {
namespace {

TEST(RandomUUID, every_one_is_different_with_or_without_the_system_call) {
    std::set<std::string> seen;
    for (const bool isForbidden : {false, true}) {
        SCOPED_TRACE(isForbidden);
        getentropyIsForbidden = isForbidden;
        for (int count = 0; count < 50; ++count) {
            const auto fresh = freshUUID();
            ASSERT_TRUE(fresh);
            const std::string text = fresh->text();
            EXPECT_EQ(text.at(14), '4') << text;
            EXPECT_TRUE(seen.insert(text).second) << text;
        }
    }
    getentropyIsForbidden = false;
}

TEST(RandomUUID, without_any_source_it_fails) {
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    getentropyIsForbidden = true;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto fresh = freshUUID();
    getentropyIsForbidden = false;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_FALSE(fresh);
    EXPECT_EQ(fresh.error(), VostelMCPKit::PosixError{EMFILE});
}

} // namespace
} // namespace posix
