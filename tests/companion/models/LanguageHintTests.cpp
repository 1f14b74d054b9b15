#include "companion/models/LanguageHint.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>

namespace vostel_companion {

TEST(LanguageHint, accepts_language_codes_and_nothing_else) {
    struct Row {
        const char* when;
        const char* text;
        bool accepted;
    };
    const Row rows[] = {
        {"left out", "", true},
        {"detection asked for", "auto", true},
        {"detection asked for in capitals", "AUTO", true},
        {"the model's language", "en", true},
        {"with a region", "en-GB", true},
        {"with a region, as locales are written", "en_US", true},
        {"in capitals", "EN", true},
        {"a language that the model does not know", "ru", true},
        {"three letters", "yue", true},
        {"script and region", "zh-Hant-TW", true},
        {"a region of digits", "es-419", true},
        {"one letter", "e", false},
        {"a name", "English", false},
        {"digits", "12", false},
        {"an empty subtag", "en-", false},
        {"two separators", "en--US", false},
        {"a long subtag", "en-123456789", false},
        {"a space", "en US", false},
        {"spaces around", " en ", false},
        {"letters beyond ASCII", "ру", false},
        {"a separator alone", "-", false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(isLanguageHint(row.text), row.accepted); });
    EXPECT_TRUE(isLanguageCode("zh-Hant-TW"));
    for (const char* const text : {"", "auto", "English"}) EXPECT_FALSE(isLanguageCode(text)) << text;
}

} // namespace vostel_companion
