#include "companion/support/TerminalSafe.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(TerminalSafe, replaces_everything_that_a_terminal_would_act_on) {
    struct Row {
        const char* when;
        std::string text;
        std::string expected;
        std::string inOneLine;
    };
    const Row rows[] = {
        {"plain", "a b", "a b", "a b"},
        {"nothing", "", "", ""},
        {"lines and columns", "a\nb\tc", "a\nb\tc", "a b c"},
        {"a carriage return", "a\rb", "a\uFFFDb", "a\uFFFDb"},
        {"an escape sequence", "\x1B[2J", "\uFFFD[2J", "\uFFFD[2J"},
        {"an escape sequence in one byte", "\u009B2J", "\uFFFD2J", "\uFFFD2J"},
        {"delete and NUL", std::string{"a\x7F\0b", 4}, "a\uFFFD\uFFFDb", "a\uFFFD\uFFFDb"},
        {"line and paragraph separators", "a\u2028b\u2029c", "a\uFFFDb\uFFFDc", "a\uFFFDb\uFFFDc"},
        {"changes of direction", "\u202Ea\u2066b\u200F", "\uFFFDa\uFFFDb\uFFFD", "\uFFFDa\uFFFDb\uFFFD"},
        {"broken UTF-8", "a\xFF\xC3", "a\uFFFD\uFFFD", "a\uFFFD\uFFFD"},
        {"a family", "\U0001F468\u200D\U0001F469", "\U0001F468\u200D\U0001F469", "\U0001F468\u200D\U0001F469"},
        {"Persian with a non-joiner", "می\u200Cخواهم", "می\u200Cخواهم", "می\u200Cخواهم"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(printable(row.text), row.expected);
        EXPECT_EQ(printableLine(row.text), row.inOneLine);
    });
}

} // namespace vostel_companion
