#include "posix/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace posix {

namespace fs = std::filesystem;

using vostel_tests::readFile;
using vostel_tests::writeFile;

TEST(Files, a_file_is_replaced_whole_and_for_its_owner_alone) {
    const vostel_tests::TemporaryFolder folder;
    const fs::path path = folder / "text.txt";
    ASSERT_TRUE(writeFileAtomically(path, "first"));
    ASSERT_TRUE(writeFileAtomically(path, "second, longer"));
    EXPECT_EQ(readFile(path), "second, longer");
    struct stat file{};
    ASSERT_EQ(::stat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0600U);
    EXPECT_EQ(std::distance(fs::directory_iterator{folder.path()}, fs::directory_iterator{}), 1);
}

TEST(Files, a_file_that_cannot_be_written_leaves_nothing) {
    const vostel_tests::TemporaryFolder folder;
    fs::create_directory(folder / "taken");
    const auto written = writeFileAtomically(folder / "taken", "text");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), (FileError{folder / "taken", EISDIR}));
    EXPECT_EQ(std::distance(fs::directory_iterator{folder.path()}, fs::directory_iterator{}), 1);

    const auto nowhere = writeFileAtomically(folder / "no/text", "text");
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().description(),
              "Vostel could not use " + (folder / "no/text").string() + ": No such file or directory.");
}

TEST(Files, a_folder_is_made_for_its_owner_alone) {
    const vostel_tests::TemporaryFolder folder;
    ASSERT_TRUE(ensureFolder(folder / "a/b"));
    ASSERT_TRUE(ensureFolder(folder / "a/b"));
    struct stat made{};
    ASSERT_EQ(::stat((folder / "a/b").c_str(), &made), 0);
    EXPECT_EQ(made.st_mode & 0777U, 0700U);
}

TEST(Files, a_file_in_the_way_of_a_folder_is_an_error) {
    const vostel_tests::TemporaryFolder folder;
    writeFile(folder / "a", "");
    EXPECT_FALSE(ensureFolder(folder / "a/b"));
}

TEST(Files, a_lock_has_one_holder) {
    const vostel_tests::TemporaryFolder folder;
    const fs::path path = folder / "lock";
    EXPECT_FALSE(FileLock::isHeld(path));
    {
        const auto lock = FileLock::acquire(path);
        ASSERT_TRUE(lock);
        EXPECT_TRUE(FileLock::isHeld(path));
        const auto second = FileLock::tryExisting(path);
        ASSERT_FALSE(second);
        EXPECT_EQ(second.error().number, EWOULDBLOCK);
    }
    EXPECT_FALSE(FileLock::isHeld(path));
    EXPECT_TRUE(FileLock::tryExisting(path));
}

TEST(Files, a_folder_can_be_locked) {
    const vostel_tests::TemporaryFolder folder;
    const auto lock = FileLock::tryExisting(folder.path());
    ASSERT_TRUE(lock);
    EXPECT_TRUE(FileLock::isHeld(folder.path()));
}

} // namespace posix
