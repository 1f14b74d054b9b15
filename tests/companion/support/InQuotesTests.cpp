#include "companion/support/InQuotes.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(InQuotes, any_text_becomes_one_line_without_control_characters) {
    struct Row {
        const char* when;
        std::string text;
        std::string expected;
    };
    const Row rows[] = {
        {"plain", "/a b/c.wav", "'/a b/c.wav'"},
        {"empty", "", "''"},
        {"other scripts", "/Музыка/音.mp3", "'/Музыка/音.mp3'"},
        {"line breaks", "a\nb\r\u2028c", "'a\uFFFDb\uFFFD\uFFFDc'"},
        {"terminal controls", "\x1b[2J\x7f", "'\uFFFD[2J\uFFFD'"},
        {"a change of direction", "a\u202Eb", "'a\uFFFDb'"},
        {"broken UTF-8", "a\xFF\xC3", "'a\uFFFD\uFFFD'"},
        {"just short enough", std::string(299, 'x'), "'" + std::string(299, 'x') + "'"},
        {"too long", std::string(300, 'x'), "'" + std::string(299, 'x') + "…'"},
        {"too long in the middle of a letter", std::string(298, 'x') + "é", "'" + std::string(298, 'x') + "…'"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(inQuotes(row.text), row.expected); });
}

TEST(InDoubleQuotes, one_text_cannot_be_read_as_two) {
    EXPECT_EQ(inDoubleQuotes("a b"), R"("a b")");
    EXPECT_EQ(inDoubleQuotes(R"(a", "b)"), R"("a\", \"b")");
    EXPECT_EQ(inDoubleQuotes(R"(a\)"), R"("a\\")");
    EXPECT_EQ(inDoubleQuotes(""), R"("")");
}

} // namespace vostel_companion
