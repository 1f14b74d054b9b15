#include "server/MCPAppLauncher.h"
#include "tests/support/FakeLauncher.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_mcp {
namespace {

using VostelMCPKit::ConnectError;

constexpr const char* helper = "/Applications/Vostel.app/Contents/MacOS/vostel-mcp";

TEST(MCPAppLauncher, opens_the_bundle_around_the_executable) {
    vostel_tests::ManualExecutor executor;
    vostel_tests::FakeLauncher fake;
    const MCPAppLauncher launcher{helper, fake.open()};
    const auto launched = executor.run(launcher.launchHostApplication());
    ASSERT_TRUE(launched);
    EXPECT_TRUE(launched->has_value());
    EXPECT_EQ(fake.opened(), std::vector<std::filesystem::path>{"/Applications/Vostel.app"});
}

TEST(MCPAppLauncher, without_a_bundle_around_it_nothing_is_opened) {
    struct Row {
        const char* when;
        std::optional<std::filesystem::path> executable;
    };
    const Row rows[] = {
        {"the executable is unknown", std::nullopt},
        {"a build folder", "/home/me/vostel/build/server/vostel-mcp"},
        {"one level short", "/Applications/Vostel.app/Contents/vostel-mcp"},
        {"one level deep", "/Applications/Vostel.app/Contents/MacOS/helpers/vostel-mcp"},
        {"another letter case", "/Applications/Vostel.APP/Contents/MacOS/vostel-mcp"},
        {"only the extension", "/Applications/.app/Contents/MacOS/vostel-mcp"},
        {"too few levels", "/vostel-mcp"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        vostel_tests::ManualExecutor executor;
        vostel_tests::FakeLauncher fake;
        const MCPAppLauncher launcher{row.executable, fake.open()};
        const auto launched = executor.run(launcher.launchHostApplication());
        ASSERT_TRUE(launched);
        ASSERT_FALSE(launched->has_value());
        EXPECT_EQ(launched->error(), ConnectError{ConnectError::LaunchServicesUnavailable{}});
        EXPECT_TRUE(fake.opened().empty());
    });
}

TEST(MCPAppLauncher, every_failure_tells_the_user_to_open_the_application) {
    vostel_tests::ManualExecutor executor;
    vostel_tests::FakeLauncher fake;
    fake.fail();
    const MCPAppLauncher launcher{helper, fake.open()};
    const auto launched = executor.run(launcher.launchHostApplication());
    ASSERT_TRUE(launched);
    ASSERT_FALSE(launched->has_value());
    EXPECT_EQ(launched->error().errorDescription(),
              "Vostel could not be launched automatically. Please open Vostel yourself and try again.");
}

TEST(MCPAppLauncher, waits_until_the_opening_has_ended) {
    vostel_tests::ManualExecutor executor;
    vostel_tests::FakeLauncher fake;
    fake.hold();
    const MCPAppLauncher launcher{helper, fake.open()};
    bool ended = false;
    auto watch = [](const MCPAppLauncher& watched, bool& flag) -> VostelMCPKit::Task<void> {
        std::ignore = co_await watched.launchHostApplication();
        flag = true;
    };
    spawn(watch(launcher, ended), executor);
    executor.drain();
    EXPECT_FALSE(ended);
    fake.release();
    executor.drain();
    EXPECT_TRUE(ended);
}

} // namespace
} // namespace vostel_mcp
