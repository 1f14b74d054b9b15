#include "server/PropertyList.h"
#include "tests/server/PropertyListText.h"
#include "tests/support/Repeat.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_mcp {
namespace {

using vostel_tests::forEachRow;
using vostel_tests::propertyList;
using vostel_tests::repeat;

const std::string entry = "<key>K</key><string>value</string>";

TEST(PropertyList, a_string_is_found_at_the_top_level_only) {
    struct Row {
        const char* when;
        std::string text;
        std::optional<std::string> found;
    };
    const Row rows[] = {
        {"alone", propertyList(entry), "value"},
        {"with white space between the tags", propertyList("\t<key>K</key>\r\n <string>value</string>"), "value"},
        {"after others", propertyList("<key>A</key><true/><key>B</key><array><integer>1</integer></array>" + entry),
         "value"},
        {"the first of two", propertyList(entry + "<key>K</key><string>other</string>"), "value"},
        {"before what is malformed", propertyList(entry + "<key>"), "value"},
        {"after a nested one", propertyList("<key>N</key><dict><key>K</key><string>nested</string></dict>" + entry),
         "value"},
        {"after one in a comment", propertyList("<!-- <key>K</key><string>comment</string> -->" + entry), "value"},
        {"only nested", propertyList("<key>N</key><dict>" + entry + "</dict>"), std::nullopt},
        {"only in an array", propertyList("<key>N</key><array><dict>" + entry + "</dict></array>"), std::nullopt},
        {"only in a comment", propertyList("<!--" + entry + "-->"), std::nullopt},
        {"only as a value", propertyList("<key>N</key><string>K</string>"), std::nullopt},
        {"an array at the top", "<plist><array>" + entry + "</array></plist>", std::nullopt},
        {"no property list", "<dict>" + entry + "</dict>", std::nullopt},
        {"nothing", "", std::nullopt},
    };
    forEachRow(rows, [](const Row& row) { EXPECT_EQ(topLevelString(row.text, "K"), row.found); });
}

TEST(PropertyList, an_unfinished_list_is_not_read_beyond_its_text) {
    for (const std::string_view last :
         {"<", "<a", "<!--", "<?", "<!DOCTYPE", "<![CDATA[", "<![CDATA[K", "<key>&", "</"}) {
        SCOPED_TRACE(last);
        const std::string text = "<plist><dict><key>A</key><true/>" + std::string{last};
        // The text has no NUL after its last character.
        const std::vector<char> characters{text.begin(), text.end()};
        EXPECT_EQ(topLevelString({characters.data(), characters.size()}, "K"), std::nullopt);
    }
}

TEST(PropertyList, text_is_read_by_the_rules_of_XML) {
    struct Row {
        const char* when;
        std::string written;
        std::optional<std::string> read;
    };
    const Row rows[] = {
        {"plain", "Vostel Größe", "Vostel Größe"},
        {"empty", "", ""},
        {"with white space at its ends", " a ", " a "},
        {"named entities", "&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
        {"numbered ones", "&#65;&#x42;&#x1F600;", "AB😀"},
        {"an entity that is text afterwards", "&amp;lt;", "&lt;"},
        {"a section in which nothing is escaped", "a<![CDATA[<b>&amp;]]>c", "a<b>&amp;c"},
        {"a comment inside", "a<!-- b -->c", "ac"},
        {"an unknown entity", "a&b;", std::nullopt},
        {"an entity without its end", "a&amp", std::nullopt},
        {"a number beyond Unicode", "&#x110000;", std::nullopt},
        {"a surrogate", "&#xD800;", std::nullopt},
        {"no number", "&#x;", std::nullopt},
        {"a number with more after it", "&#65x;", std::nullopt},
        {"a number that fits no machine word", "&#99999999999;", std::nullopt},
        {"a number with a sign", "&#-65;", std::nullopt},
        {"markup", "a<b/>", std::nullopt},
    };
    forEachRow(rows, [](const Row& row) {
        EXPECT_EQ(topLevelString(propertyList("<key>K</key><string>" + row.written + "</string>"), "K"), row.read);
    });
}

TEST(PropertyList, a_malformed_list_has_no_string) {
    struct Row {
        const char* when;
        std::string members;
    };
    const Row rows[] = {
        {"no value", "<key>K</key>"},
        {"a value of another type", "<key>K</key><integer>4</integer>"},
        {"a value without its end", "<key>K</key><string>value"},
        {"a value that ends as something else", "<key>K</key><string>value</key>"},
        {"a key without its value before", "<key>A</key>" + entry},
        {"a value without its key before", "<string>A</string>" + entry},
        {"a tag without its end before", "<key>A</key><array" + entry},
        {"a comment without its end before", "<!-- " + entry},
        {"a section without its end", "<key>K</key><string><![CDATA[value</string>"},
    };
    forEachRow(rows, [](const Row& row) { EXPECT_EQ(topLevelString(propertyList(row.members), "K"), std::nullopt); });
}

TEST(PropertyList, hostile_text_needs_one_pass_and_no_stack) {
    constexpr std::size_t many = 60'000;
    struct Row {
        const char* when;
        std::string before;
        bool found;
    };
    const Row rows[] = {
        {"nested deeply", "<key>A</key>" + repeat("<array>", many) + repeat("</array>", many), true},
        {"nested deeply without an end", "<key>A</key>" + repeat("<array>", many), false},
        {"many comments", repeat("<!---->", many), true},
        {"many beginnings of a comment", repeat("<!--", many), false},
        {"many keys", repeat("<key>A</key><true/>", many), true},
        {"many ampersands", "<key>" + repeat("&", many) + "</key><true/>", false},
        {"many beginnings of a tag", repeat("<", many), false},
    };
    forEachRow(rows, [](const Row& row) {
        EXPECT_EQ(topLevelString(propertyList(row.before + entry), "K").has_value(), row.found);
    });
}

} // namespace
} // namespace vostel_mcp
