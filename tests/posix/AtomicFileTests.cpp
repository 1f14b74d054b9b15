#include "posix/AtomicFile.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace posix {
namespace {

namespace fs = std::filesystem;

using vostel_tests::readFile;
using vostel_tests::TemporaryFolder;
using vostel_tests::writeFile;

auto filesIn(const TemporaryFolder& folder) {
    return std::distance(fs::directory_iterator{folder.path()}, fs::directory_iterator{});
}

mode_t modeOf(const fs::path& path) {
    struct stat file{};
    EXPECT_EQ(::stat(path.c_str(), &file), 0);
    return file.st_mode & 07777U;
}

TEST(AtomicFile, replaces_the_whole_file_and_only_its_owner_can_read_it) {
    const TemporaryFolder folder;
    const fs::path path = folder / "text.txt";
    ASSERT_TRUE(writeFileAtomically(path, "first"));
    ASSERT_TRUE(writeFileAtomically(path, "second, longer"));
    EXPECT_EQ(readFile(path), "second, longer");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(filesIn(folder), 1);
}

TEST(AtomicFile, leaves_no_file_when_it_cannot_be_written) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "taken");
    const auto written = writeFileAtomically(folder / "taken", "text");
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error(), (SystemError{"write '" + (folder / "taken").string() + "'", {EISDIR}}));
    EXPECT_EQ(filesIn(folder), 1);

    const auto nowhere = writeFileAtomically(folder / "no/text", "text");
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().description(),
              "Vostel could not write '" + (folder / "no/text").string() + "': No such file or directory.");
}

TEST(AtomicFile, has_the_given_mode_and_owner_with_any_umask) {
    const TemporaryFolder folder;
    const fs::path path = folder / "text.txt";
    const FileAttributes::Owner owner{::geteuid(), ::getegid()};
    const mode_t mask = ::umask(077);
    auto file = AtomicFile::write(path, "text", {0664, owner});
    ::umask(mask);
    ASSERT_TRUE(file);
    ASSERT_TRUE(file->moveTo(path));
    EXPECT_EQ(modeOf(path), 0664U);
}

TEST(AtomicFile, is_deleted_unless_it_was_moved) {
    const TemporaryFolder folder;
    const fs::path path = folder / "text.txt";
    writeFile(path, "old");
    {
        const auto file = AtomicFile::write(path, "new");
        ASSERT_TRUE(file);
        EXPECT_EQ(filesIn(folder), 2);
        EXPECT_EQ(readFile(path), "old");
    }
    EXPECT_EQ(filesIn(folder), 1);
    EXPECT_EQ(readFile(path), "old");
}

TEST(AtomicFile, can_get_another_name_in_the_folder_of_its_target) {
    const TemporaryFolder folder;
    writeFile(folder / "text.txt", "old");
    auto backup = AtomicFile::write(folder / "text.txt", "kept");
    ASSERT_TRUE(backup);
    ASSERT_TRUE(backup->moveTo(folder / "backup.txt"));
    EXPECT_EQ(readFile(folder / "backup.txt"), "kept");
    EXPECT_EQ(readFile(folder / "text.txt"), "old");
}

} // namespace
} // namespace posix
