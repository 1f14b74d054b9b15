#include "companion/support/Log.h"
#include "tests/support/Files.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace vostel_companion {

using namespace std::chrono_literals;
using vostel_tests::readFile;

TEST(Log, adds_lines_with_their_times) {
    const vostel_tests::TemporaryFolder folder;
    const auto file = folder.path() / "Vostel.log";
    Log log{file, [] { return std::chrono::system_clock::time_point{1'000'000'000s}; }};
    log.write("started");
    log.write("two\nlines\x1B[2J");
    EXPECT_EQ(readFile(file), "2001-09-09T01:46:40.000Z started\n2001-09-09T01:46:40.000Z two lines\uFFFD[2J\n");
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(Log, keeps_one_older_file_and_stays_small) {
    const vostel_tests::TemporaryFolder folder;
    const auto file = folder.path() / "Vostel.log";
    vostel_tests::writeFile(folder.path() / "Vostel.log.1", "older");
    vostel_tests::writeFile(file, std::string(Log::longestFile, 'x'));
    Log log{file};
    log.write("new");
    EXPECT_EQ(readFile(folder.path() / "Vostel.log.1"), std::string(Log::longestFile, 'x'));
    EXPECT_TRUE(readFile(file).ends_with(" new\n"));
    EXPECT_LT(readFile(file).size(), 100U);
}

TEST(Log, does_not_follow_a_link_or_create_a_folder) {
    const vostel_tests::TemporaryFolder folder;
    vostel_tests::writeFile(folder.path() / "other file", "content");
    std::filesystem::create_symlink(folder.path() / "other file", folder.path() / "Vostel.log");
    Log{folder.path() / "Vostel.log"}.write("line");
    EXPECT_EQ(readFile(folder.path() / "other file"), "content");
    Log{folder.path() / "missing/Vostel.log"}.write("line");
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "missing"));
}

} // namespace vostel_companion
