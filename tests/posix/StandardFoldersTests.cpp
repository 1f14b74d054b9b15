#include "posix/StandardFolders.h"
#include "tests/support/HomeFolder.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <pwd.h>
#include <unistd.h>

namespace posix {
namespace {

/// Lets a test set HOME, and restores it at the end.
class HomeFolder : public testing::Test {
protected:
    HomeFolder() {
        if (const char* home = std::getenv("HOME")) before_ = home;
    }
    ~HomeFolder() override { set(before_); }

    static void set(const std::optional<std::string>& home) {
        if (home) {
            ::setenv("HOME", home->c_str(), /*overwrite=*/1);
        } else {
            ::unsetenv("HOME");
        }
    }

private:
    std::optional<std::string> before_;
};

TEST_F(HomeFolder, is_the_variable_when_it_is_absolute) {
    for (const std::string home : {"/home/me", "/", "/Users/Zoë Müller"}) {
        set(home);
        EXPECT_EQ(homeDirectory(), home);
    }
}

TEST_F(HomeFolder, is_otherwise_the_entry_in_the_password_database) {
    const passwd* entry = ::getpwuid(::getuid());
    ASSERT_NE(entry, nullptr);
    const std::string expected = entry->pw_dir;
    const std::optional<std::string> values[] = {std::nullopt, "", "home/me", "~", "./"};
    for (const auto& value : values) {
        SCOPED_TRACE(value.value_or("unset"));
        set(value);
        EXPECT_EQ(homeDirectory(), expected);
    }
}

TEST_F(HomeFolder, of_a_test_contains_the_application_support_folder_on_every_system) {
    const vostel_tests::TemporaryFolder folder;
    vostel_tests::setHome(folder.path());
    EXPECT_EQ(applicationSupportDirectory(), folder.path() / "Library" / "Application Support");
    ::unsetenv("CFFIXED_USER_HOME");
}

TEST(HomeFolderOfATest, is_never_the_real_one) {
    const passwd* entry = ::getpwuid(::getuid());
    ASSERT_NE(entry, nullptr);
    EXPECT_DEATH(vostel_tests::refuseRealHome(entry->pw_dir), "must not use the real home folder");
}

} // namespace
} // namespace posix
