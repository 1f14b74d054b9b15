#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONTextAccess.h"
#include "kit/jsonrpc/JSONWriter.h"
#include "kit/jsonrpc/MCPLine.h"
#include "kit/jsonrpc/MCPMessages.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

TEST(JSONWriter, writes_each_kind_of_value_compactly) {
    struct Row {
        const char* when;
        MCPValue value;
        const char* expected;
    };
    const Row rows[] = {
        {"null", nullptr, "null"},
        {"true", true, "true"},
        {"false", false, "false"},
        {"an integer", -7, "-7"},
        {"an integral double", 2.0, "2"},
        {"a double", 0.25, "0.25"},
        {"an empty string", "", "\"\""},
        {"an empty array", MCPValue::array({}), "[]"},
        {"an empty object", MCPValue::object({}), "{}"},
        {"a slash, and members in order", MCPValue::object({{"b", 1}, {"a", "x/y"}}), R"({"a":"x/y","b":1})"},
        {"an array of every kind",
         MCPValue::array({nullptr, true, 1, 1.5, "s", MCPValue::array({}), MCPValue::object({})}),
         R"([null,true,1,1.5,"s",[],{}])"},
        {"members in order at every level",
         MCPValue::object({{"z", MCPValue::array({MCPValue::object({{"b", 1}, {"a", 2}})})},
                           {"y", MCPValue::object({{"d", nullptr}, {"c", false}})}}),
         R"({"y":{"c":false,"d":null},"z":[{"a":2,"b":1}]})"},
        {"containers that close one after the other",
         MCPValue::array({MCPValue::array({MCPValue::object({{"a", MCPValue::array({})}})}), 1}), R"([[{"a":[]}],1])"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(written(row.value), row.expected); });
}

TEST(JSONWriter, a_value_with_cached_text_is_the_same_and_its_text_is_copied) {
    const MCPValue plain = MCPValue::array({1, MCPValue::object({{"b", "text of some length"}, {"a", nullptr}})});
    const MCPValue cached = withCachedText(plain);
    EXPECT_EQ(cached, plain);
    EXPECT_EQ(cached.hash(), plain.hash());
    EXPECT_EQ(JSONTextAccess::cachedText(plain), std::nullopt);
    EXPECT_EQ(JSONTextAccess::cachedText(cached), R"([1,{"a":null,"b":"text of some length"}])");
    EXPECT_EQ(written(cached), written(plain));
    EXPECT_EQ(written(MCPValue::object({{"list", cached}, {"more", 1}})),
              R"({"list":)" + written(plain) + R"(,"more":1})");
    EXPECT_EQ(written(JSONTextAccess::withCachedText(plain, "[another text]")), "[another text]");
}

TEST(JSONWriter, only_an_array_or_object_that_can_be_written_caches_its_text) {
    const auto cachedText = [](const MCPValue& value) {
        const MCPValue cached = withCachedText(value);
        const auto text = JSONTextAccess::cachedText(cached);
        return text ? std::optional{std::string{*text}} : std::nullopt;
    };
    EXPECT_EQ(cachedText("a string of more than fifteen bytes"), std::nullopt);
    EXPECT_EQ(cachedText(1), std::nullopt);
    const MCPValue unwritable = MCPValue::array({std::numeric_limits<double>::infinity()});
    EXPECT_EQ(withCachedText(unwritable), unwritable);
    EXPECT_EQ(cachedText(unwritable), std::nullopt);
    EXPECT_EQ(cachedText(MCPValue::object({})), "{}");
}

TEST(JSONWriter, text_that_is_not_UTF_8_is_repaired) {
    struct Row {
        const char* when;
        std::string text;
        const char* expected;
    };
    const Row rows[] = {
        {"a byte of another encoding", "caf\xE9", "\"caf\uFFFD\""},
        {"an incomplete character at the end", "a\xC3", "\"a\uFFFD\""},
        {"a surrogate", "\xED\xA0\x80.", "\"\uFFFD\uFFFD\uFFFD.\""},
        {"more than fifteen bytes", "/home/caf\xE9/Library/Application Support",
         "\"/home/caf\uFFFD/Library/Application Support\""},
        {"valid text of more than fifteen bytes", "/home/caf\xC3\xA9/Library", "\"/home/caf\u00E9/Library\""},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const std::string text = written(row.text);
        EXPECT_EQ(text, row.expected);
        EXPECT_EQ(readJSON(text), MCPValue{row.text});
        EXPECT_EQ(written(MCPValue::object({{row.text, 1}})), "{" + text + ":1}");
    });
}

TEST(JSONWriter, escapes_quotation_mark_backslash_and_controls_and_nothing_else) {
    const std::string_view controls[32] = {
        R"(\u0000)", R"(\u0001)", R"(\u0002)", R"(\u0003)", R"(\u0004)", R"(\u0005)", R"(\u0006)", R"(\u0007)",
        R"(\b)",     R"(\t)",     R"(\n)",     R"(\u000b)", R"(\f)",     R"(\r)",     R"(\u000e)", R"(\u000f)",
        R"(\u0010)", R"(\u0011)", R"(\u0012)", R"(\u0013)", R"(\u0014)", R"(\u0015)", R"(\u0016)", R"(\u0017)",
        R"(\u0018)", R"(\u0019)", R"(\u001a)", R"(\u001b)", R"(\u001c)", R"(\u001d)", R"(\u001e)", R"(\u001f)"};
    // Every byte at every position of a block of eight bytes, and after it.
    for (unsigned byte = 0; byte < 0x80; ++byte) {
        std::string expected{static_cast<char>(byte)};
        if (byte < 0x20) expected = controls[byte];
        if (byte == '"') expected = R"(\")";
        if (byte == '\\') expected = R"(\\)";
        for (std::size_t before = 0; before <= 9; ++before) {
            const std::string around(before, 'a');
            EXPECT_EQ(written(MCPValue{around + static_cast<char>(byte) + around}),
                      "\"" + around + expected + around + "\"")
                << byte;
        }
    }
}

TEST(JSONWriter, finds_an_escape_at_every_place_of_a_string_of_any_length) {
    for (std::size_t length = 0; length <= 40; ++length) {
        EXPECT_EQ(written(MCPValue{std::string(length, 'x')}), '"' + std::string(length, 'x') + '"');
        for (std::size_t place = 0; place < length; ++place) {
            std::string text(length, 'x');
            text[place] = '"';
            const std::string expected = std::string(place, 'x') + "\\\"" + std::string(length - place - 1, 'x');
            EXPECT_EQ(written(MCPValue{text}), '"' + expected + '"') << length << " " << place;
        }
    }
}

TEST(JSONWriter, writes_everything_beyond_ASCII_as_it_is) {
    struct Row {
        const char* when;
        std::string text;
    };
    const Row rows[] = {
        {"two bytes", "é"},
        {"three bytes", "€"},
        {"four bytes", "😀"},
        {"DEL", "\x7F"},
        {"the next-line control", "\xC2\x85"},
        {"the line separators", "\xE2\x80\xA8\xE2\x80\xA9"},
        {"a byte order mark", "\xEF\xBB\xBF"},
        {"no character", "\xEF\xBF\xBF"},
        {"a dash and typographic quotation marks", "“a — b”"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(MCPValue{row.text}), "\"" + row.text + "\"");
        EXPECT_EQ(written(MCPValue::object({{row.text, row.text}})), "{\"" + row.text + "\":\"" + row.text + "\"}");
    });
}

TEST(JSONWriter, escapes_keys_like_values) {
    EXPECT_EQ(written(MCPValue::object({{"a\"\\\n\x01/", 1}})), R"({"a\"\\\n\u0001/":1})");
}

TEST(JSONWriter, never_writes_a_raw_line_break) {
    std::string all;
    for (int byte = 0; byte < 0x80; ++byte) all += static_cast<char>(byte);
    const std::string text = written(MCPValue::array({all, MCPValue::object({{all, all}})}));
    EXPECT_EQ(text.find_first_of("\n\r"), text.npos);
    EXPECT_EQ(json(text), MCPValue::array({all, MCPValue::object({{all, all}})}));
}

TEST(JSONWriter, refuses_a_number_that_is_not_finite_and_writes_nothing) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        const char* when;
        MCPValue value;
    };
    const Row rows[] = {
        {"not a number", notANumber},
        {"infinite", infinity},
        {"negative and infinite", -infinity},
        {"after other elements", MCPValue::array({1, "two", notANumber})},
        {"deep inside", MCPValue::object({{"a", MCPValue::array({MCPValue::object({{"b", infinity}})})}, {"z", 1}})},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Bytes out{"before"};
        EXPECT_EQ(writeJSON(row.value, out), (std::expected<void, EncodingError>{std::unexpected(EncodingError{})}));
        EXPECT_EQ(out.text(), "before");
    });
}

TEST(JSONWriter, appends_to_existing_text) {
    Bytes out{"a"};
    EXPECT_TRUE(writeJSON(MCPValue::array({1}), out));
    EXPECT_TRUE(writeJSON("b", out));
    EXPECT_EQ(out.text(), "a[1]\"b\"");
}

TEST(MCPLine, is_the_text_of_the_message_and_a_line_feed) {
    Bytes out{"first\n"};
    EXPECT_TRUE(appendLine(MCPResponse::result(1, "a\nb"), out));
    EXPECT_EQ(out.text(), "first\n{\"id\":1,\"jsonrpc\":\"2.0\",\"result\":\"a\\nb\"}\n");
}

TEST(MCPLine, a_message_that_cannot_be_written_adds_nothing) {
    Bytes out{"first\n"};
    EXPECT_FALSE(appendLine(MCPResponse::result(1, std::numeric_limits<double>::quiet_NaN()), out));
    EXPECT_EQ(out.text(), "first\n");
}

} // namespace
} // namespace VostelMCPKit
