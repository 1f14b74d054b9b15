#include "companion/tools/ResultSize.h"
#include "companion/tools/TruncatedTranscript.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vostel_companion {

using VostelMCPKit::MCPToolError;
using VostelMCPKit::MCPToolOutcome;

namespace {

MCPToolOutcome textOf(std::size_t bytes) { return {MCPToolOutcome::Text{std::string(bytes, 'x'), std::nullopt}}; }

} // namespace

TEST(FittingOutcome, has_all_items_when_they_fit) {
    std::vector<std::size_t> asked;
    const auto build = [&](std::size_t count) {
        asked.push_back(count);
        return textOf(count);
    };
    EXPECT_EQ(fittingOutcome(1000, build), textOf(1000));
    EXPECT_EQ(fittingOutcome(0, build), textOf(0));
    EXPECT_EQ(asked, (std::vector<std::size_t>{1000, 0}));
}

TEST(FittingOutcome, takes_a_quarter_less_until_the_rest_fits) {
    std::vector<std::size_t> asked;
    const MCPToolOutcome outcome = fittingOutcome(20, [&](std::size_t count) {
        asked.push_back(count);
        return textOf(count << 20);
    });
    EXPECT_EQ(asked, (std::vector<std::size_t>{20, 15, 11, 8}));
    EXPECT_LE(resultSize(outcome), largestResult);
}

TEST(FittingOutcome, is_a_failure_when_nothing_fits) {
    const auto build = [](std::size_t) { return textOf(largestResult); };
    EXPECT_EQ(fittingOutcome(3, build), (MCPToolOutcome{MCPToolError{"The result is too large to be sent."}}));
}

TEST(ResultSize, counts_the_bytes_that_the_client_receives) {
    // A quotation mark and a line break take two bytes each in JSON, and the fence has its own.
    EXPECT_EQ(resultSize({MCPToolOutcome::Text{"\"\n", std::nullopt}}), resultSize(textOf(4)));
    EXPECT_EQ(resultSize(textOf(1000)), resultSize(textOf(0)) + 1000);
}

TEST(TruncatedTranscript, shows_all_or_the_first_parts_and_saves_the_whole_text_only_if_it_is_cut) {
    int saved = 0;
    const auto save = [&] {
        ++saved;
        return std::optional<std::string>{"/a.txt"};
    };
    TruncatedTranscript text{"één two three", {5, 9, 15}, save};
    EXPECT_EQ(text.parts(), 3U);
    EXPECT_EQ(text.shown(3), "één two three");
    EXPECT_EQ(saved, 0);
    EXPECT_EQ(text.shown(2),
              "één two\n\n[TRUNCATED: showing first 7 of 13 characters.] Full transcript saved at: /a.txt");
    EXPECT_EQ(text.shown(0), "\n\n[TRUNCATED: showing first 0 of 13 characters.] Full transcript saved at: /a.txt");
    EXPECT_EQ(saved, 1);

    TruncatedTranscript unsaved{"one two", {3, 7}, [] { return std::nullopt; }};
    EXPECT_EQ(unsaved.shown(1),
              "one\n\n[TRUNCATED: showing first 3 of 7 characters.] Full transcript was not yet saved to disk.");
}

TEST(TruncatedTranscript, wrong_ends_never_cut_a_character) {
    TruncatedTranscript text{"één two", {1, 4, 400}, [] { return std::nullopt; }};
    EXPECT_EQ(text.parts(), 2U);
    EXPECT_TRUE(text.shown(1).starts_with("\n\n[TRUNCATED: showing first 0 of 7 characters.]")) << text.shown(1);
    EXPECT_TRUE(text.shown(0).starts_with("\n\n[TRUNCATED: showing first 0 of 7 characters.]"));
}

} // namespace vostel_companion
