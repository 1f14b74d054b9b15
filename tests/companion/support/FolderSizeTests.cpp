#include "companion/support/FolderSize.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using vostel_tests::TemporaryFolder;

TEST(FolderSize, adds_up_the_files_of_all_inner_folders) {
    const TemporaryFolder folder;
    folder.write("one", "12345");
    folder.write("a/two", "123");
    folder.write("a/b/three", "1");
    EXPECT_EQ(sizeOfFolder(folder.path()), 9U);
}

TEST(FolderSize, does_not_follow_links) {
    const TemporaryFolder folder;
    const TemporaryFolder other;
    other.write("file", "12345");
    std::filesystem::create_symlink(other / "file", folder / "to a file");
    std::filesystem::create_directory_symlink(other.path(), folder / "to a folder");
    EXPECT_EQ(sizeOfFolder(folder.path()), 0U);
}

TEST(FolderSize, a_missing_folder_is_empty) { EXPECT_EQ(sizeOfFolder("/nonexistent/folder"), 0U); }

} // namespace vostel_companion
