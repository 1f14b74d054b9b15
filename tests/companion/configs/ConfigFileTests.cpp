#include "companion/configs/ConfigFile.h"
#include "tests/companion/configs/ClientConfigsFixture.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vostel_companion {

namespace fs = std::filesystem;
using vostel_tests::TemporaryFolder;

namespace {

using Result = std::expected<EditedConfig, ConfigError>;

ConfigEdit to(std::string text) {
    return [text](std::string_view) -> Result { return EditedConfig{text}; };
}

std::set<std::string> names(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator{folder}) names.insert(entry.path().filename());
    return names;
}

struct stat statusOf(const fs::path& path) {
    struct stat status{};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status;
}

} // namespace

TEST(ConfigFile, a_file_is_replaced_and_backed_up_beside_it) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    const fs::path backup = folder.path() / "config.vostel-backup";
    EXPECT_EQ(editConfigFile(path, to("new")), (ConfigFileChange{true, backup}));
    EXPECT_EQ(readFile(path), "new");
    EXPECT_EQ(readFile(backup), "old");
    EXPECT_EQ(names(folder.path()), (std::set<std::string>{"config", "config.vostel-backup"}));
}

TEST(ConfigFile, a_missing_file_and_its_folder_are_created_for_the_owner_alone) {
    const TemporaryFolder folder;
    const fs::path path = folder.path() / "a b/.codex/config.toml";
    EXPECT_EQ(readConfigFile(path), "");
    EXPECT_EQ(editConfigFile(path, to("new")), (ConfigFileChange{true, std::nullopt}));
    EXPECT_EQ(readFile(path), "new");
    EXPECT_EQ(statusOf(path).st_mode & 07777U, 0600U);
    EXPECT_EQ(names(path.parent_path()), std::set<std::string>{"config.toml"});
}

TEST(ConfigFile, nothing_is_written_when_nothing_changes) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    const auto before = statusOf(path).st_ino;
    EXPECT_EQ(editConfigFile(path, to("old")), ConfigFileChange{});
    EXPECT_EQ(editConfigFile(folder.path() / "missing/file", to("")), ConfigFileChange{});
    EXPECT_EQ(statusOf(path).st_ino, before);
    EXPECT_EQ(names(folder.path()), std::set<std::string>{"config"});
}

TEST(ConfigFile, an_edit_that_fails_changes_nothing) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    const ConfigError error = ConfigError::Unverified{};
    EXPECT_EQ(editConfigFile(path, [&](std::string_view) -> Result { return std::unexpected(error); }),
              std::unexpected(error));
    EXPECT_EQ(names(folder.path()), std::set<std::string>{"config"});
}

TEST(ConfigFile, mode_and_owner_stay) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    const bool isSuperuser = ::geteuid() == 0;
    const uid_t owner = isSuperuser ? 1234 : ::geteuid();
    const gid_t group = isSuperuser ? 2345 : ::getegid();
    ASSERT_EQ(::chown(path.c_str(), owner, group), 0);
    for (const mode_t mode : {0600U, 0644U, 0640U, 0666U, 0755U}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        ASSERT_TRUE(editConfigFile(
            path, [](std::string_view text) -> Result { return EditedConfig{std::string{text} + "+"}; }));
        for (const fs::path& file : {path, fs::path{path.string() + ".vostel-backup"}}) {
            SCOPED_TRACE(file);
            EXPECT_EQ(statusOf(file).st_mode & 07777U, mode);
            EXPECT_EQ(statusOf(file).st_uid, owner);
            EXPECT_EQ(statusOf(file).st_gid, group);
        }
        fs::remove(path.string() + ".vostel-backup");
    }
}

TEST(ConfigFile, a_chain_of_links_is_followed_and_stays) {
    const TemporaryFolder folder;
    const fs::path target = folder.write("dotfiles/real", "old");
    fs::create_directory(folder.path() / "home");
    const fs::path link = folder.path() / "home/config";
    fs::create_symlink("../dotfiles/second", link);
    fs::create_symlink(target, folder.path() / "dotfiles/second");
    EXPECT_EQ(
        editConfigFile(link, to("new")),
        (ConfigFileChange{true, fs::path{folder.path() / "home/../dotfiles/real.vostel-backup"}.lexically_normal()}));
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_TRUE(fs::is_symlink(folder.path() / "dotfiles/second"));
    EXPECT_FALSE(fs::is_symlink(target));
    EXPECT_EQ(readFile(target), "new");
    EXPECT_EQ(names(folder.path() / "home"), std::set<std::string>{"config"});
}

TEST(ConfigFile, a_link_to_nothing_gets_its_file_if_the_folder_is_there) {
    const TemporaryFolder folder;
    fs::create_symlink(folder.path() / "real", folder.path() / "config");
    ASSERT_TRUE(editConfigFile(folder.path() / "config", to("new")));
    EXPECT_TRUE(fs::is_symlink(folder.path() / "config"));
    EXPECT_EQ(readFile(folder.path() / "real"), "new");

    fs::create_symlink(folder.path() / "unmounted/real", folder.path() / "other");
    EXPECT_FALSE(editConfigFile(folder.path() / "other", to("new")));
    EXPECT_FALSE(fs::exists(folder.path() / "unmounted"));
}

TEST(ConfigFile, a_link_to_itself_is_reported) {
    const TemporaryFolder folder;
    fs::create_symlink("config", folder.path() / "config");
    const auto change = editConfigFile(folder.path() / "config", to("new"));
    ASSERT_FALSE(change);
    EXPECT_EQ(change.error(), (posix::SystemError{"open '" + (folder.path() / "config").string() + "'", {ELOOP}}));
}

TEST(ConfigFile, a_file_that_nobody_may_write_stays_unchanged_even_for_the_superuser) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("a/config", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    EXPECT_EQ(editConfigFile(path, to("new")), std::unexpected(ConfigError{ConfigError::ReadOnly{path}}));
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    ASSERT_EQ(::chmod(path.parent_path().c_str(), 0555), 0);
    EXPECT_EQ(editConfigFile(path, to("new")), std::unexpected(ConfigError{ConfigError::ReadOnly{path.parent_path()}}));
    EXPECT_EQ(editConfigFile(path.parent_path() / "new", to("new")),
              std::unexpected(ConfigError{ConfigError::ReadOnly{path.parent_path()}}));
    EXPECT_EQ(editConfigFile(path, to("old")), ConfigFileChange{});
    ASSERT_EQ(::chmod(path.parent_path().c_str(), 0755), 0);
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(names(path.parent_path()), std::set<std::string>{"config"});
}

TEST(ConfigFile, anything_but_a_regular_file_is_reported) {
    const TemporaryFolder folder;
    fs::create_directory(folder.path() / "folder");
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    for (const char* name : {"folder", "pipe"}) {
        SCOPED_TRACE(name);
        const ConfigError expected{ConfigError::NotAFile{folder.path() / name}};
        EXPECT_EQ(readConfigFile(folder.path() / name), std::unexpected(expected));
        EXPECT_EQ(editConfigFile(folder.path() / name, to("new")), std::unexpected(expected));
    }
    const fs::path below = folder.write("file", "") / "config";
    EXPECT_EQ(editConfigFile(below, to("new")),
              std::unexpected(ConfigError{posix::SystemError{"open '" + below.string() + "'", {ENOTDIR}}}));
}

TEST(ConfigFile, a_file_that_is_too_large_is_not_read) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "");
    fs::resize_file(path, std::uintmax_t{64} * 1024 * 1024 + 1);
    const auto text = readConfigFile(path);
    ASSERT_FALSE(text);
    EXPECT_EQ(text.error().description(""),
              path.string() + " is larger than 64 MiB, which no configuration file should be.");
}

TEST(ConfigFile, the_backup_of_the_last_change_replaces_all_earlier_ones) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "one");
    folder.write("config.vostel-backup", "old");
    for (int number = 2; number <= 100; ++number) folder.write("config.vostel-backup-" + std::to_string(number), "old");
    folder.write("config.vostel-backup-of-mine", "mine");
    for (const char* text : {"two", "three"}) ASSERT_TRUE(editConfigFile(path, to(text)));
    EXPECT_EQ(readConfigBackup(path), "two");
    EXPECT_EQ(names(folder.path()),
              (std::set<std::string>{"config", "config.vostel-backup", "config.vostel-backup-of-mine"}));
}

TEST(ConfigFile, a_change_can_keep_the_earlier_backup_and_all_backups_can_be_deleted) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "one");
    EXPECT_EQ(readConfigBackup(path), std::nullopt);
    EXPECT_EQ(deleteConfigBackups(path), false);
    ASSERT_TRUE(editConfigFile(path, to("two")));
    EXPECT_EQ(editConfigFile(path, [](std::string_view) -> Result { return EditedConfig{"three", false}; }),
              (ConfigFileChange{true, std::nullopt}));
    EXPECT_EQ(readConfigBackup(path), "one");
    folder.write("config.vostel-backup-33", "old");
    EXPECT_EQ(deleteConfigBackups(path), true);
    EXPECT_EQ(names(folder.path()), std::set<std::string>{"config"});
    EXPECT_EQ(readFile(path), "three");
}

TEST(ConfigFile, an_edit_can_delete_the_file_and_its_link_stays) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("real", "one");
    fs::create_symlink("real", folder.path() / "config");
    const auto remove = [](std::string_view) -> Result { return EditedConfig{std::nullopt, false}; };
    EXPECT_EQ(editConfigFile(folder.path() / "config", remove), (ConfigFileChange{true, std::nullopt}));
    EXPECT_EQ(names(folder.path()), std::set<std::string>{"config"});
    EXPECT_EQ(editConfigFile(folder.path() / "config", remove), ConfigFileChange{});
}

TEST(ConfigFile, a_folder_or_link_with_a_backups_name_stays) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    fs::create_directory(folder.path() / "config.vostel-backup");
    fs::create_symlink("nowhere", folder.path() / "config.vostel-backup-2");
    const auto change = editConfigFile(path, to("new"));
    ASSERT_TRUE(change);
    EXPECT_EQ(change->backup, folder.path() / "config.vostel-backup-3");
    EXPECT_FALSE(fs::exists(folder.path() / "nowhere"));
}

TEST(ConfigFile, without_a_name_for_a_backup_nothing_is_changed) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "old");
    const fs::path first = path.string() + ".vostel-backup";
    fs::create_directory(first);
    for (int number = 2; number <= 100; ++number) fs::create_directory(first.string() + "-" + std::to_string(number));
    EXPECT_EQ(editConfigFile(path, to("new")), std::unexpected(ConfigError{ConfigError::NotAFile{first}}));
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(names(folder.path()).size(), 101U);
}

TEST(ConfigFile, a_file_that_changed_meanwhile_is_edited_again) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "a");
    int calls = 0;
    const auto change = editConfigFile(path, [&](std::string_view text) -> Result {
        // Another program writes after the first read and after the read under the lock.
        if (++calls <= 2) folder.write("config", std::string{text} + "b");
        return EditedConfig{std::string{text} + "!"};
    });
    ASSERT_TRUE(change) << change.error().description(path.string());
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(readFile(path), "abb!");
    EXPECT_EQ(readFile(*change->backup), "abb");
    EXPECT_EQ(names(folder.path()), (std::set<std::string>{"config", "config.vostel-backup"}));
}

TEST(ConfigFile, a_file_that_appeared_meanwhile_is_not_overwritten) {
    const TemporaryFolder folder;
    int calls = 0;
    ASSERT_TRUE(editConfigFile(folder.path() / "config", [&](std::string_view text) -> Result {
        if (++calls == 2) folder.write("config", "theirs");
        return EditedConfig{std::string{text} + "!"};
    }));
    EXPECT_EQ(readFile(folder.path() / "config"), "theirs!");
}

TEST(ConfigFile, a_file_that_changes_all_the_time_is_not_edited) {
    const TemporaryFolder folder;
    const fs::path path = folder.write("config", "a");
    const auto change = editConfigFile(path, [&](std::string_view text) -> Result {
        folder.write("config", std::string{text} + "b");
        return EditedConfig{std::string{text} + "!"};
    });
    EXPECT_EQ(change, std::unexpected(ConfigError{ConfigError::ConcurrentlyModified{path}}));
    EXPECT_EQ(readFile(path).find('!'), std::string::npos);
    EXPECT_EQ(names(folder.path()), std::set<std::string>{"config"});
}

TEST(ConfigFile, no_edit_is_lost_when_several_run_at_the_same_time) {
    const TemporaryFolder folder;
    const fs::path path = folder.path() / "new/config";
    std::vector<std::thread> threads;
    for (char name = 'a'; name < 'g'; ++name) {
        threads.emplace_back([&path, name] {
            for (int edit = 0; edit < 5; ++edit) {
                EXPECT_TRUE(editConfigFile(
                    path, [name](std::string_view text) -> Result { return EditedConfig{std::string{text} + name}; }));
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::string text = readFile(path);
    for (char name = 'a'; name < 'g'; ++name) EXPECT_EQ(std::ranges::count(text, name), 5) << name;
}

} // namespace vostel_companion
