#include "posix/FileLock.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>

namespace posix {
namespace {

using IfMissing = FileLock::IfMissing;
using vostel_tests::TemporaryFolder;

TEST(FileLock, has_one_holder_at_a_time) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "lock";
    EXPECT_FALSE(FileLock::isHeld(path));
    {
        const auto lock = FileLock::acquire(path, IfMissing::create);
        ASSERT_TRUE(lock);
        EXPECT_TRUE(FileLock::isHeld(path));
        for (const IfMissing ifMissing : {IfMissing::create, IfMissing::fail}) {
            const auto second = FileLock::tryAcquire(path, ifMissing);
            ASSERT_FALSE(second);
            EXPECT_EQ(second.error(), (SystemError{"lock '" + path.string() + "'", {EWOULDBLOCK}}));
        }
    }
    EXPECT_FALSE(FileLock::isHeld(path));
    EXPECT_TRUE(FileLock::tryAcquire(path, IfMissing::fail));
}

TEST(FileLock, is_waited_for) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "lock";
    auto first = FileLock::tryAcquire(path, IfMissing::create);
    ASSERT_TRUE(first);
    std::optional<FileLock> held{*std::move(first)};
    auto second = std::async(std::launch::async, [&] { return FileLock::acquire(path, IfMissing::fail).has_value(); });
    held.reset();
    EXPECT_TRUE(second.get());
}

TEST(FileLock, creates_a_missing_file_only_when_told_to_and_only_for_its_owner) {
    const TemporaryFolder folder;
    const std::filesystem::path path = folder / "lock";
    const auto missing = FileLock::acquire(path, IfMissing::fail);
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error(), (SystemError{"open '" + path.string() + "'", {ENOENT}}));
    ASSERT_TRUE(FileLock::acquire(path, IfMissing::create));
    struct stat file{};
    ASSERT_EQ(::stat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0600U);
}

TEST(FileLock, creates_no_file_through_a_link) {
    const TemporaryFolder folder;
    std::filesystem::create_symlink(folder / "elsewhere", folder / "lock");
    const auto lock = FileLock::acquire(folder / "lock", IfMissing::create);
    ASSERT_FALSE(lock);
    EXPECT_EQ(lock.error().reason, PosixError{ELOOP});
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
}

TEST(FileLock, works_on_a_folder) {
    const TemporaryFolder folder;
    const auto lock = FileLock::tryAcquire(folder.path(), IfMissing::fail);
    ASSERT_TRUE(lock);
    EXPECT_TRUE(FileLock::isHeld(folder.path()));
}

} // namespace
} // namespace posix
