#include "kit/stdio/MCPLineBuffer.h"
#include "kit/stdio/MCPStdoutWriter.h"
#include "tests/support/ManualExecutor.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::ManualExecutor;
using Lines = std::vector<std::string>;

TEST(MCPLineBuffer, returns_the_lines_that_each_chunk_completes) {
    struct Row {
        const char* when;
        std::vector<std::string_view> chunks;
        std::vector<Lines> expected;
    };
    const Row rows[] = {
        {"a line in three chunks", {"ab", "c\nd", "\n"}, {{}, {"abc"}, {"d"}}},
        {"two line feeds", {"\n\n"}, {{"", ""}}},
        {"a carriage return is kept", {"x\r\n"}, {{"x\r"}}},
        {"a lone carriage return ends no line", {"x\ry", "\n"}, {{}, {"x\ry"}}},
        {"an empty chunk changes nothing", {"ab", "", "\n"}, {{}, {}, {"ab"}}},
        {"an empty chunk at the start", {""}, {{}}},
        {"several lines and the start of another", {"a\nb\nc\nd"}, {{"a", "b", "c"}}},
        {"a line feed alone after a pending line", {"a", "\n", "\n"}, {{}, {"a"}, {""}}},
        {"a character cut between two chunks", {"\xC3", "\xA9\n"}, {{}, {"é"}}},
        {"ill-formed bytes drop their line alone", {"a\n\xFF\nb\n"}, {{"a", "b"}}},
        {"an overlong line feed does not end a line", {"a\xC0\x8A\nb\n"}, {{"b"}}},
        {"ill-formed bytes that came in an earlier chunk", {"a\xE2\x82", "z\nb\n"}, {{}, {"b"}}},
        {"a character cut by the line feed", {"\xE2\x82\n\xAC\nb\n"}, {{"b"}}},
        {"other line separators are characters",
         {"a\xE2\x80\xA8"
          "b\vc\fd\xC2\x85\n"},
         {{"a\xE2\x80\xA8"
           "b\vc\fd\xC2\x85"}}},
        {"NUL is a character", {std::string_view{"a\0b\n", 4}}, {{std::string{"a\0b", 3}}}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        MCPLineBuffer buffer;
        std::vector<Lines> lines;
        for (const auto chunk : row.chunks) lines.push_back(buffer.append(chunk));
        EXPECT_EQ(lines, row.expected);
    });
}

TEST(MCPLineBuffer, cuts_the_same_lines_from_chunks_of_any_size) {
    const std::string text = "{\"a\":1}\n\n\xFFx\nпривет\r\n" + std::string(300, 'z') + "\nrest";
    const Lines expected{"{\"a\":1}", "", "привет\r", std::string(300, 'z')};
    for (std::size_t length = 1; length <= text.size(); ++length) {
        MCPLineBuffer buffer;
        Lines lines;
        for (std::size_t offset = 0; offset < text.size(); offset += length) {
            for (std::string& line : buffer.append(std::string_view{text}.substr(offset, length))) {
                lines.push_back(std::move(line));
            }
        }
        EXPECT_EQ(lines, expected) << length;
    }
}

TEST(MCPLineBuffer, keeps_a_line_of_many_mebibytes_until_its_line_feed_arrives) {
    MCPLineBuffer buffer;
    const std::string chunk(65'536, 'a');
    for (int count = 0; count < 512; ++count) ASSERT_TRUE(buffer.append(chunk).empty());
    const Lines lines = buffer.append("\n");
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].size(), 512 * chunk.size());
}

TEST(MCPLineBuffer, copies_are_independent) {
    MCPLineBuffer buffer;
    EXPECT_TRUE(buffer.append("a").empty());
    MCPLineBuffer copy = buffer;
    EXPECT_EQ(copy.append("b\n"), Lines{"ab"});
    EXPECT_EQ(buffer.append("c\n"), Lines{"ac"});
}

/// A write operation that takes `step` bytes at a time and then returns the given failure.
struct FakeOutput {
    using Answer = std::expected<std::int64_t, PosixError>;

    std::string written;
    std::vector<std::size_t> offered;
    std::size_t step = 1'000'000;
    /// Returned instead of writing, after this many bytes.
    std::optional<std::pair<std::size_t, Answer>> failure;

    MCPStdoutWriter::AttemptWrite attemptWrite() {
        return [this](std::span<const std::byte> bytes) -> Answer {
            EXPECT_FALSE(bytes.empty());
            offered.push_back(bytes.size());
            if (failure && written.size() >= failure->first) return failure->second;
            const std::size_t count = std::min(step, bytes.size());
            written.append(reinterpret_cast<const char*>(bytes.data()), count);
            return static_cast<std::int64_t>(count);
        };
    }
};

using Sent = std::expected<void, MCPWriteError>;

TEST(MCPStdoutWriter, offers_the_rest_until_every_byte_is_out) {
    struct Row {
        const char* when;
        std::string data;
        std::size_t step;
        std::vector<std::size_t> offered;
    };
    const Row rows[] = {
        {"all at once", "0123456789", 10, {10}},
        {"three at a time", "0123456789", 3, {10, 7, 4, 1}},
        {"one at a time", "abc", 1, {3, 2, 1}},
        {"nothing, without asking", "", 1, {}},
        {"a NUL inside", std::string{"a\0b", 3}, 2, {3, 1}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ManualExecutor executor;
        FakeOutput output;
        output.step = row.step;
        MCPStdoutWriter writer{executor, output.attemptWrite()};
        const auto sent = executor.run(writer.send(Bytes{row.data}));
        ASSERT_TRUE(sent);
        EXPECT_EQ(*sent, Sent{});
        EXPECT_EQ(output.written, row.data);
        EXPECT_EQ(output.offered, row.offered);
    });
}

TEST(MCPStdoutWriter, ends_at_the_first_failure_and_keeps_what_was_written) {
    struct Row {
        const char* when;
        FakeOutput::Answer answer;
        MCPWriteError expected;
    };
    const Row rows[] = {
        {"nothing written", 0, MCPStdioError::noProgress},
        {"a negative count", -1, MCPStdioError::noProgress},
        {"a closed pipe", std::unexpected(PosixError{EPIPE}), PosixError{EPIPE}},
        {"a closed descriptor", std::unexpected(PosixError{EBADF}), PosixError{EBADF}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ManualExecutor executor;
        FakeOutput output;
        output.step = 3;
        output.failure.emplace(6, row.answer);
        MCPStdoutWriter writer{executor, output.attemptWrite()};
        EXPECT_EQ(executor.run(writer.send(Bytes{"0123456789"})), Sent{std::unexpected(row.expected)});
        EXPECT_EQ(output.written, "012345");
        EXPECT_EQ(output.offered, (std::vector<std::size_t>{10, 7, 4}));

        output.failure.reset();
        EXPECT_EQ(executor.run(writer.send(Bytes{"again"})), Sent{});
        EXPECT_EQ(output.written, "012345again");
    });
}

TEST(MCPStdoutWriter, lines_with_a_gate_begin_only_while_it_is_open) {
    struct Row {
        const char* when;
        std::string lines;
        std::size_t room;
        std::size_t step;
        int closedBefore;
        std::string written;
        std::vector<std::size_t> offered;
    };
    const Row rows[] = {
        {"open all the time", "a\nbc\n", 100, 100, 99, "a\nbc\n", {5}},
        {"closed before it began", "a\nbc\n", 100, 100, 0, "", {}},
        {"as many whole lines as there is room for", "a\nb\ncde\n", 5, 100, 99, "a\nb\ncde\n", {4, 4}},
        {"closed between two lines", "a\nb\ncde\n", 5, 100, 1, "a\nb\n", {4}},
        {"a line longer than the room", "abcdef\ng\n", 4, 100, 99, "abcdef\ng\n", {4, 3, 2}},
        {"a line that has begun is finished", "abcdef\ng\n", 4, 100, 1, "abcdef\n", {4, 3}},
        {"a line of which a part was taken is finished", "abc\nde\n", 100, 2, 1, "abc\n", {7, 2}},
        {"a line without its end is finished, too", "abcdef", 4, 100, 1, "abcdef", {4, 2}},
        {"nothing, without asking", "", 100, 100, 99, "", {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        ManualExecutor executor;
        FakeOutput output;
        output.step = row.step;
        const auto gate = std::make_shared<LineGate>();
        int asked = 0;
        // The gate closes at the worst moment: while the writer waits for room.
        const auto waitForRoom = [&](std::size_t wanted) {
            EXPECT_EQ(wanted, row.lines.size() - output.written.size());
            if (asked++ == row.closedBefore) gate->close();
            return row.room;
        };
        MCPStdoutWriter writer{executor, output.attemptWrite(), waitForRoom};
        EXPECT_EQ(executor.run(writer.send(Bytes{row.lines}, gate)), Sent{});
        EXPECT_EQ(output.written, row.written);
        EXPECT_EQ(output.offered, row.offered);
    });
}

TEST(MCPStdoutWriter, a_very_long_line_is_finished_in_parts_without_asking_the_gate_again) {
    const std::string line = std::string(200'000, 'a') + '\n';
    ManualExecutor executor;
    FakeOutput output;
    const auto gate = std::make_shared<LineGate>();
    int asked = 0;
    const auto waitForRoom = [&](std::size_t) {
        if (asked++ == 1) gate->close();
        return std::size_t{1000};
    };
    MCPStdoutWriter writer{executor, output.attemptWrite(), waitForRoom};
    EXPECT_EQ(executor.run(writer.send(Bytes{line + "b\n"}, gate)), Sent{});
    EXPECT_EQ(output.written, line);
    EXPECT_EQ(output.offered, (std::vector<std::size_t>{1000, 65'536, 65'536, 65'536, 2393}));
    EXPECT_EQ(asked, 2);
}

TEST(MCPStdoutWriter, a_failure_ends_lines_with_a_gate) {
    for (const std::size_t after : {0U, 4U}) {
        SCOPED_TRACE(after);
        ManualExecutor executor;
        FakeOutput output;
        output.step = 4;
        output.failure.emplace(after, std::unexpected(PosixError{EPIPE}));
        MCPStdoutWriter writer{executor, output.attemptWrite()};
        EXPECT_EQ(executor.run(writer.send(Bytes{"abcdef\ng\n"}, std::make_shared<LineGate>())),
                  Sent{std::unexpected(MCPWriteError{PosixError{EPIPE}})});
        EXPECT_EQ(output.written, std::string{"abcd"}.substr(0, after));
    }
}

TEST(MCPStdoutWriter, without_functions_nothing_is_written_and_nothing_throws) {
    ManualExecutor executor;
    MCPStdoutWriter unable{executor, nullptr};
    EXPECT_EQ(executor.run(unable.send(Bytes{"a\n"})), Sent{std::unexpected(MCPStdioError::noProgress)});
    EXPECT_EQ(executor.run(unable.send(Bytes{"a\n"}, std::make_shared<LineGate>())),
              Sent{std::unexpected(MCPStdioError::noProgress)});

    FakeOutput output;
    MCPStdoutWriter writer{executor, output.attemptWrite(), nullptr};
    EXPECT_EQ(executor.run(writer.send(Bytes{"a\nb\n"}, std::make_shared<LineGate>())), Sent{});
    EXPECT_EQ(output.written, "a\nb\n");
    EXPECT_EQ(output.offered, std::vector<std::size_t>{4});
}

Task<void> sendAll(MCPStdoutWriter* writer, std::vector<std::string> messages) {
    for (const std::string& message : messages) {
        Bytes bytes{message};
        const auto sent = co_await writer->send(std::move(bytes));
        EXPECT_TRUE(sent);
    }
}

TEST(MCPStdoutWriter, two_senders_never_interleave) {
    ManualExecutor senders;
    ManualExecutor own;
    FakeOutput output;
    output.step = 7;
    MCPStdoutWriter writer{own, output.attemptWrite()};
    const std::string first = std::string(1'000, 'a') + "\n";
    const std::string second = std::string(1'000, 'b') + "\n";
    spawn(sendAll(&writer, {first, first}), senders);
    spawn(sendAll(&writer, {second, second}), senders);

    EXPECT_TRUE(output.offered.empty());
    while (senders.step() || own.step()) {}
    EXPECT_EQ(output.written, first + second + first + second);
}

TEST(MCPStdoutWriter, writes_only_on_its_own_executor) {
    ManualExecutor senders;
    ManualExecutor own;
    FakeOutput output;
    MCPStdoutWriter writer{own, output.attemptWrite()};
    spawn(sendAll(&writer, {"x"}), senders);
    senders.drain();
    EXPECT_EQ(output.written, "");
    EXPECT_TRUE(own.step());
    EXPECT_EQ(output.written, "x");
    EXPECT_FALSE(own.step());
    EXPECT_TRUE(senders.step());
}

} // namespace
} // namespace VostelMCPKit
