#include "posix/FileIO.h"
#include "posix/Pipe.h"
#include "tests/support/Repeat.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>

namespace posix {
namespace {

using vostel_tests::TemporaryFolder;

FileDescriptor opened(const std::filesystem::path& path) {
    return FileDescriptor{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
}

TEST(FileIO, reads_a_file_to_its_end_but_at_most_one_byte_beyond_the_limit) {
    const TemporaryFolder folder;
    const std::string text = vostel_tests::repeat("0123456789", 20'000);
    folder.write("text", text);
    EXPECT_EQ(readRest(opened(folder / "text"), text.size()), text);
    EXPECT_EQ(readRest(opened(folder / "text"), text.size() - 1), text);
    EXPECT_EQ(readRest(opened(folder / "text"), 9), "0123456789");
    folder.write("empty", "");
    EXPECT_EQ(readRest(opened(folder / "empty"), 100), "");
    EXPECT_EQ(readRest(opened(folder.path()), 100), std::unexpected(PosixError{EISDIR}));
}

TEST(FileIO, reads_at_an_offset_without_moving_the_position) {
    const TemporaryFolder folder;
    folder.write("text", "0123456789");
    const FileDescriptor file = opened(folder / "text");
    std::array<char, 4> buffer{};
    EXPECT_EQ(readSomeAt(file, 6, std::as_writable_bytes(std::span{buffer})), 4U);
    EXPECT_EQ(std::string_view(buffer.data(), 4), "6789");
    EXPECT_EQ(readSomeAt(file, 10, std::as_writable_bytes(std::span{buffer})), 0U);
    EXPECT_EQ(readSome(file, std::as_writable_bytes(std::span{buffer})), 4U);
    EXPECT_EQ(std::string_view(buffer.data(), 4), "0123");
}

TEST(FileIO, a_read_of_a_non_blocking_descriptor_fails_instead_of_waiting) {
    auto pipe = Pipe::make();
    ASSERT_TRUE(pipe);
    setNonBlocking(pipe->reader);
    std::array<std::byte, 4> buffer{};
    EXPECT_EQ(readSome(pipe->reader, buffer), std::unexpected(PosixError{EAGAIN}));
    pipe->writer = {};
    EXPECT_EQ(readSome(pipe->reader, buffer), 0U);
}

TEST(FileIO, a_failed_write_names_the_file) {
    const TemporaryFolder folder;
    folder.write("text", "");
    EXPECT_EQ(writeAll(opened(folder / "text"), "x", "/a/text"),
              std::unexpected(SystemError{"write '/a/text'", {EBADF}}));
    EXPECT_EQ(synchronizeFolder("/no/folder"), std::unexpected(SystemError{"open '/no/folder'", {ENOENT}}));
}

} // namespace
} // namespace posix
