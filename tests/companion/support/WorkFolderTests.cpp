#include "companion/support/WorkFolder.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <optional>

namespace vostel_companion {

namespace fs = std::filesystem;

TEST(WorkFolder, exists_as_long_as_its_object) {
    const vostel_tests::TemporaryFolder folder;
    auto made = WorkFolder::make(folder / "work");
    ASSERT_TRUE(made);
    std::optional<WorkFolder> work{*std::move(made)};
    const fs::path path = work->path();
    EXPECT_EQ(path.parent_path(), folder / "work");
    folder.write(path / "file", "content");
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
    work.reset();
    EXPECT_FALSE(fs::exists(path));
}

TEST(WorkFolder, only_abandoned_ones_are_deleted) {
    const vostel_tests::TemporaryFolder folder;
    const auto work = WorkFolder::make(folder.path());
    ASSERT_TRUE(work);
    const fs::path used = folder.write(work->path() / "file", "content");
    folder.write("abandoned/inner/file", "content");
    folder.write("file", "content");

    ASSERT_TRUE(deleteAbandonedWork(folder.path()));
    EXPECT_TRUE(fs::exists(used));
    EXPECT_FALSE(fs::exists(folder / "abandoned"));
    EXPECT_FALSE(fs::exists(folder / "file"));
}

TEST(WorkFolder, a_missing_folder_has_no_abandoned_work) { EXPECT_TRUE(deleteAbandonedWork("/nonexistent/folder")); }

} // namespace vostel_companion
