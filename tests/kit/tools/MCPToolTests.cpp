#include "kit/tools/MCPTool.h"
#include "tests/support/Distinct.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::written;

const MCPSchema input{MCPValue::object({{"type", "object"}})};
constexpr MCPToolAnnotations none{
    .readOnlyHint = false, .destructiveHint = false, .idempotentHint = false, .openWorldHint = false};

TEST(MCPTool, is_written_with_every_key_but_an_absent_output_schema) {
    struct Row {
        const char* when;
        MCPTool tool;
        const char* text;
    };
    const Row rows[] = {
        {"no output schema, no confirmation",
         {"t", "Does it.", input, {}, none, false},
         R"({"_meta":{"anthropic/requiresUserInteraction":false},"annotations":{"destructiveHint":false,)"
         R"("idempotentHint":false,"openWorldHint":false,"readOnlyHint":false},"description":"Does it.",)"
         R"("inputSchema":{"type":"object"},"name":"t"})"},
        {"an output schema and a confirmation",
         {"t", "", input, MCPSchema{true}, {true, true, true, true}, true},
         R"({"_meta":{"anthropic/requiresUserInteraction":true},"annotations":{"destructiveHint":true,)"
         R"("idempotentHint":true,"openWorldHint":true,"readOnlyHint":true},"description":"",)"
         R"("inputSchema":{"type":"object"},"name":"t","outputSchema":true})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(row.tool), row.text);
        EXPECT_EQ(decoded<MCPTool>(row.text), row.tool);
    });
}

TEST(MCPTool, what_is_missing_gets_the_defaults_of_MCP) {
    struct Row {
        const char* when;
        const char* members;
        bool requiresUserInteraction;
    };
    const Row rows[] = {
        {"nothing more", "", false},
        {"null annotations", R"(,"annotations":null)", false},
        {"a null output schema", R"(,"outputSchema":null)", false},
        {"_meta is a string", R"(,"_meta":"anthropic/requiresUserInteraction")", false},
        {"_meta is null", R"(,"_meta":null)", false},
        {"_meta is an array", R"(,"_meta":[true])", false},
        {"_meta is empty", R"(,"_meta":{})", false},
        {"the flag is null", R"(,"_meta":{"anthropic/requiresUserInteraction":null})", false},
        {"the flag under another name", R"(,"_meta":{"requiresUserInteraction":true})", false},
        {"the flag", R"(,"_meta":{"anthropic/requiresUserInteraction":true,"x":1})", true},
        {"unknown members", R"(,"title":"T","icons":[])", false},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto tool = decoded<MCPTool>(R"({"name":"t","description":"d","inputSchema":{"type":"object"})" +
                                           std::string{row.members} + "}");
        ASSERT_TRUE(tool);
        EXPECT_FALSE(tool->annotations.readOnlyHint);
        EXPECT_TRUE(tool->annotations.destructiveHint);
        EXPECT_FALSE(tool->annotations.idempotentHint);
        EXPECT_TRUE(tool->annotations.openWorldHint);
        EXPECT_EQ(*tool, (MCPTool{"t", "d", input, {}, {}, row.requiresUserInteraction}));
    });
}

TEST(MCPTool, is_refused_when_a_required_key_is_missing_or_of_another_type) {
    struct Row {
        const char* when;
        const char* text;
        const char* reason;
    };
    const Row rows[] = {
        {"no name", R"({"description":"d","inputSchema":{}})", "name is missing"},
        {"a number as name", R"({"name":1,"description":"d","inputSchema":{}})", "name is not a string"},
        {"no description", R"({"name":"t","inputSchema":{}})", "description is missing"},
        {"a null description", R"({"name":"t","description":null,"inputSchema":{}})", "description is not a string"},
        {"no input schema", R"({"name":"t","description":"d"})", "inputSchema is missing"},
        {"annotations of another type", R"({"name":"t","description":"d","inputSchema":{},"annotations":true})",
         "annotations is not an object"},
        {"incomplete annotations",
         R"({"name":"t","description":"d","inputSchema":{},"annotations":{"readOnlyHint":true}})",
         "annotations.destructiveHint is missing"},
        {"a flag of another type",
         R"({"name":"t","description":"d","inputSchema":{},"_meta":{"anthropic/requiresUserInteraction":"yes"}})",
         "_meta.anthropic/requiresUserInteraction is not a boolean"},
        {"no object", R"("t")", "it is not an object"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const auto tool = decoded<MCPTool>(row.text);
        ASSERT_FALSE(tool);
        EXPECT_EQ(tool.error().description(), row.reason);
    });
}

TEST(MCPToolAnnotations, are_written_and_read_with_all_four_hints) {
    const char* text = R"({"destructiveHint":false,"idempotentHint":true,"openWorldHint":false,"readOnlyHint":true})";
    constexpr MCPToolAnnotations annotations{
        .readOnlyHint = true, .destructiveHint = false, .idempotentHint = true, .openWorldHint = false};
    EXPECT_EQ(written(annotations), text);
    EXPECT_EQ(decoded<MCPToolAnnotations>(text), annotations);
    for (const char* hint : {"destructiveHint", "idempotentHint", "openWorldHint", "readOnlyHint"}) {
        SCOPED_TRACE(hint);
        std::string without = text;
        without.replace(without.find(hint), 1, "x");
        const auto incomplete = decoded<MCPToolAnnotations>(without);
        ASSERT_FALSE(incomplete);
        EXPECT_EQ(incomplete.error(), (DecodingError{DecodingError::KeyNotFound{}, hint}));
    }
}

TEST(MCPToolAnnotations, compare_and_hash_by_every_hint) {
    std::vector<MCPToolAnnotations> all;
    for (unsigned bits = 0; bits < 16; ++bits) {
        all.push_back({(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0, (bits & 8) != 0});
    }
    vostel_tests::expectDistinct(all);
}

} // namespace
} // namespace VostelMCPKit
