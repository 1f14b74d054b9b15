#include "posix/PrivateFolder.h"
#include "tests/support/Table.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace posix {
namespace {

namespace fs = std::filesystem;

using vostel_tests::TemporaryFolder;

mode_t permissionsOf(const fs::path& path) {
    struct stat file{};
    EXPECT_EQ(::stat(path.c_str(), &file), 0);
    return file.st_mode & 0777U;
}

TEST(PrivateFolder, a_missing_folder_is_created_only_for_its_owner) {
    const TemporaryFolder folder;
    ASSERT_TRUE(ensureFolder(folder / "a/b"));
    ASSERT_TRUE(ensureFolder(folder / "a/b"));
    EXPECT_EQ(permissionsOf(folder / "a/b"), 0700U);
    EXPECT_EQ(ensurePrivateFolder(folder / "c/d"), true);
    EXPECT_EQ(permissionsOf(folder / "c/d"), 0700U);
}

TEST(PrivateFolder, a_file_in_place_of_a_folder_is_an_error) {
    const TemporaryFolder folder;
    folder.write("a", "");
    EXPECT_FALSE(ensureFolder(folder / "a/b"));
    EXPECT_EQ(ensureFolder(folder / "a"),
              std::unexpected(SystemError{"create the folder '" + (folder / "a").string() + "'", {ENOTDIR}}));
}

TEST(PrivateFolder, an_existing_folder_is_closed_to_others_only_on_request) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "open");
    ASSERT_EQ(::chmod((folder / "open").c_str(), 0755), 0);
    ASSERT_TRUE(ensureFolder(folder / "open"));
    EXPECT_EQ(permissionsOf(folder / "open"), 0755U);
    EXPECT_EQ(ensurePrivateFolder(folder / "open"), true);
    EXPECT_EQ(permissionsOf(folder / "open"), 0700U);
}

TEST(PrivateFolder, a_folder_that_others_could_have_changed_is_not_private) {
    const TemporaryFolder folder;
    fs::create_directory(folder / "own");
    fs::create_symlink(folder / "own", folder / "link");
    folder.write("file", "");
    fs::create_directory(folder / "shared");
    ASSERT_EQ(::chmod((folder / "shared").c_str(), 0770), 0);
    struct Row {
        const char* when;
        fs::path path;
    };
    const Row rows[] = {
        {"a link", folder / "link"},
        {"a file", folder / "file"},
        {"others may write to it", folder / "shared"},
    };
    vostel_tests::forEachRow(rows, [](const Row& row) { EXPECT_EQ(ensurePrivateFolder(row.path), false); });
    EXPECT_EQ(permissionsOf(folder / "shared"), 0770U) << "it is left as it is";
}

} // namespace
} // namespace posix
