#include "kit/tools/MCPOutputLimit.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "tests/support/Repeat.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace VostelMCPKit {
namespace {

using MCPOutputLimit::shape;
using vostel_tests::repeat;

MCPValue record(std::int64_t originalLength) {
    return MCPValue::object({{"truncated", true}, {"shownLength", 500'000}, {"originalLength", originalLength}});
}

TEST(MCPOutputLimit, the_notice_says_how_much_is_shown_and_where_the_rest_is) {
    EXPECT_EQ(MCPOutputLimit::truncationNotice({.shown = 500'000, .full = 600'000}, "/tmp/P.txt"),
              "\n\n[TRUNCATED: showing first 500000 of 600000 characters.] Full transcript saved at: /tmp/P.txt");
    EXPECT_EQ(MCPOutputLimit::truncationNotice({.shown = 1, .full = 2}, std::nullopt),
              "\n\n[TRUNCATED: showing first 1 of 2 characters.] Full transcript was not yet saved to disk.");
    EXPECT_EQ(MCPOutputLimit::truncationNotice({.shown = 1, .full = 2}, ""),
              "\n\n[TRUNCATED: showing first 1 of 2 characters.] Full transcript saved at: ");
}

TEST(MCPOutputLimit, text_up_to_the_limit_is_unchanged_and_longer_text_is_cut_between_characters) {
    struct Row {
        const char* when;
        std::string_view character;
    };
    const Row rows[] = {
        {"one byte each", "a"},
        {"Cyrillic, two bytes each", "ж"},
        {"line ends of two bytes", "\r\n"},
        {"a letter with two marks", "е\u0301\u0308"},
        {"an emoji with a skin tone", "👍🏽"},
        {"a family of four", "👨‍👩‍👧‍👦"},
        {"a flag", "🇺🇦"},
        {"a Hangul syllable in three parts", "\u1100\u1161\u11A8"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const std::string full = repeat(row.character, 500'000);
        const MCPOutputLimit::Shaped unchanged = shape({.text = full, .path = "/tmp/P.txt"});
        EXPECT_TRUE(unchanged.text == full);
        EXPECT_EQ(unchanged.structuredContent, std::nullopt);

        const MCPOutputLimit::Shaped cut = shape({full + std::string{row.character}});
        EXPECT_TRUE(cut.text == full + "\n\n[TRUNCATED: showing first 500000 of 500001 characters.]" +
                                    " Full transcript was not yet saved to disk.");
        EXPECT_EQ(cut.structuredContent, record(500'001));
    });
}

TEST(MCPOutputLimit, a_mark_after_the_last_character_shown_belongs_to_it) {
    const std::string full = repeat("a", 499'999) + "e";
    EXPECT_TRUE(shape({full + "\u0301"}).text == full + "\u0301");
    EXPECT_TRUE(shape({full + "\u0301b"}).text.starts_with(full + "\u0301\n\n[TRUNCATED"));
    EXPECT_TRUE(shape({repeat("a", 499'999) + "\r\n"}).text == repeat("a", 499'999) + "\r\n");
}

TEST(MCPOutputLimit, a_cut_text_names_the_file_that_holds_the_whole) {
    const MCPOutputLimit::Shaped cut = shape({.text = repeat("a", 600'000), .path = "/home/u/T \"1\".txt"});
    EXPECT_TRUE(cut.text == repeat("a", 500'000) + "\n\n[TRUNCATED: showing first 500000 of 600000 characters.]" +
                                " Full transcript saved at: /home/u/T \"1\".txt");
    EXPECT_EQ(cut.structuredContent, MCPValue::object({{"truncated", true},
                                                       {"shownLength", 500'000},
                                                       {"originalLength", 600'000},
                                                       {"transcriptPath", "/home/u/T \"1\".txt"}}));
}

/// Whether all members of `object` are in the closed schema of the tool's results.
bool fitsResultsOf(const char* tool, const MCPValue& object) {
    const auto tools = MCPToolCatalogue::tools(/*youTubeAvailable=*/true);
    const auto found = std::ranges::find(tools, tool, &MCPTool::name);
    if (found == tools.end() || !found->outputSchema) return false;
    const MCPValue& schema = found->outputSchema->value;
    EXPECT_EQ(schema.boolean("additionalProperties"), false);
    return std::ranges::all_of(object.members(), [&](const MCPValue::Member& member) {
        return schema.find("properties", member.key()) != nullptr;
    });
}

TEST(MCPOutputLimit, the_record_of_a_cut_is_no_result_of_a_transcription_and_what_the_header_shows_is_one) {
    const auto shaped = shape({.text = std::string(MCPOutputLimit::limit + 1, 'a'), .path = "/t.txt"});
    ASSERT_TRUE(shaped.structuredContent);
    const MCPValue segments = MCPValue::array({});
    const MCPValue shown = MCPValue::object({{"text", shaped.text}, {"segments", segments}});
    for (const char* tool : {"transcribe_file", "transcribe_url"}) {
        SCOPED_TRACE(tool);
        EXPECT_FALSE(fitsResultsOf(tool, *shaped.structuredContent));
        EXPECT_TRUE(fitsResultsOf(tool, shown));
    }
}

TEST(MCPOutputLimit, shaping_moves_an_unchanged_text_instead_of_copying_it) {
    std::string text = repeat("a", 1'000);
    const char* const data = text.data();
    EXPECT_EQ(shape({std::move(text)}).text.data(), data);
}

TEST(MCPOutputLimit, empty_text_is_unchanged) {
    EXPECT_EQ(shape({.text = "", .path = "/tmp/P.txt"}), (MCPOutputLimit::Shaped{"", {}}));
}

} // namespace
} // namespace VostelMCPKit
