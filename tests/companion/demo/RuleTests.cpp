#include "companion/demo/Rule.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(RuleThatChanges, changes_the_longest_word_visibly) {
    struct Row {
        const char* when;
        const char* text;
        std::optional<Rule> rule;
    };
    const Row rows[] = {
        {"nothing", "", std::nullopt},
        {"spaces", "  ", std::nullopt},
        {"one word", "hello", Rule{"hello", "HELLO"}},
        {"the first of two long ones", "a dashwood had leisures", Rule{"dashwood", "DASHWOOD"}},
        {"the last of a sentence", "So be it.\n\nWe consider.", Rule{"consider", "CONSIDER"}},
        {"the last", "to consider", Rule{"consider", "CONSIDER"}},
        {"capitals already", "NATO", Rule{"NATO", "[NATO]"}},
        {"letters without ASCII capitals", "да", Rule{"да", "[да]"}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(ruleThatChanges(row.text), row.rule); });
}

} // namespace vostel_companion
