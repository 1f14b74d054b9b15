#include "kit/tools/MCPToolOutcome.h"

#include <gtest/gtest.h>

namespace VostelMCPKit {
namespace {

TEST(MCPToolOutcome, a_denial_names_its_reason) {
    EXPECT_EQ(MCPDenial{MCPDenial::Disabled{"reading history is turned off"}}.description(),
              "This action was denied: the tool is currently disabled (reading history is turned off).");
    EXPECT_EQ(MCPDenial{MCPDenial::Disabled{""}}.description(),
              "This action was denied: the tool is currently disabled ().");
}

TEST(MCPToolOutcome, each_case_has_a_constructor_with_a_name) {
    const UUID id = *UUID::parse("00000000-0000-0000-0000-000000000001");
    EXPECT_EQ(MCPToolOutcome::text("a"), (MCPToolOutcome{MCPToolOutcome::Text{"a", std::nullopt}}));
    EXPECT_EQ(MCPToolOutcome::text("a", MCPValue{1}), (MCPToolOutcome{MCPToolOutcome::Text{"a", MCPValue{1}}}));
    EXPECT_EQ(MCPToolOutcome::awaitingConfirmation(id, "a"),
              (MCPToolOutcome{MCPToolOutcome::AwaitingConfirmation{id, "a"}}));
    EXPECT_EQ(MCPToolOutcome::denied("a"), (MCPToolOutcome{MCPDenial{MCPDenial::Disabled{"a"}}}));
    EXPECT_EQ(MCPToolOutcome::failed("a"), (MCPToolOutcome{MCPToolError{"a"}}));
}

TEST(MCPToolOutcome, outcomes_are_equal_and_hash_equally_only_with_case_and_payload) {
    const UUID one = *UUID::parse("00000000-0000-0000-0000-000000000001");
    const UUID two = *UUID::parse("00000000-0000-0000-0000-000000000002");
    const MCPToolOutcome all[] = {
        {MCPToolOutcome::Text{"a", {}}},
        {MCPToolOutcome::Text{"b", {}}},
        {MCPToolOutcome::Text{"a", MCPValue{1}}},
        {MCPToolOutcome::AwaitingConfirmation{one, "a"}},
        {MCPToolOutcome::AwaitingConfirmation{two, "a"}},
        {MCPToolOutcome::AwaitingConfirmation{one, "b"}},
        {MCPDenial{MCPDenial::Disabled{"a"}}},
        {MCPDenial{MCPDenial::Disabled{"b"}}},
        {MCPToolError{"a"}},
        {MCPToolError{"b"}},
    };
    for (const MCPToolOutcome& left : all) {
        for (const MCPToolOutcome& right : all) {
            SCOPED_TRACE(::testing::Message() << (&left - all) << " against " << (&right - all));
            const MCPToolOutcome copy = right;
            EXPECT_EQ(left == copy, &left == &right);
            EXPECT_EQ(std::hash<MCPToolOutcome>{}(left) == std::hash<MCPToolOutcome>{}(copy), &left == &right);
        }
    }
}

} // namespace
} // namespace VostelMCPKit
