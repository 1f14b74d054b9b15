#include "posix/StandardFolders.h"
#include "server/Platform.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/TemporaryFolder.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace vostel_mcp {
namespace {

TEST(Platform, knows_its_own_executable) {
    const auto executable = posix::ownExecutable();
    ASSERT_TRUE(executable);
    EXPECT_EQ(executable->filename(), "server_tests");
    EXPECT_TRUE(executable->is_absolute());
}

TEST(Platform, application_support_is_inside_the_home_folder) {
    EXPECT_EQ(posix::applicationSupportDirectory(), posix::homeDirectory() / "Library" / "Application Support");
}

TEST(Platform, opening_reports_whether_the_launch_succeeded) {
    const vostel_tests::TemporaryFolder folder;
    const auto executable = folder.write("Small.app/Contents/MacOS/Small", "#!/bin/sh\n");
    vostel_tests::ManualExecutor executor;
    using Opened = std::expected<void, VostelMCPKit::PosixError>;
    EXPECT_EQ(executor.run(openWithoutActivating(folder.path() / "Small.app", {64, 64})),
              Opened{std::unexpected(VostelMCPKit::PosixError{EACCES})});
    std::filesystem::permissions(executable, std::filesystem::perms::owner_all);
    EXPECT_EQ(executor.run(openWithoutActivating(folder.path() / "Small.app", {64, 64})), Opened{});
}

} // namespace
} // namespace vostel_mcp
