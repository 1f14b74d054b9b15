#include "kit/tools/MCPCallResult.h"
#include "kit/tools/MCPUntrustedFence.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>

namespace VostelMCPKit {
namespace {

const UUID someID = *UUID::parse("0a1b2c3d-4e5f-6789-abcd-ef0123456789");

using vostel_tests::decoded;
using vostel_tests::written;

TEST(MCPCallResult, every_outcome_renders_as_one_block_of_text) {
    struct Row {
        const char* when;
        MCPToolOutcome outcome;
        std::string text;
        bool isError;
        std::optional<MCPValue> structured;
    };
    const Row rows[] = {
        {"text alone", {MCPToolOutcome::Text{"Hello.", {}}}, MCPUntrustedFence::fence("Hello."), false, {}},
        {"text with its structure",
         {MCPToolOutcome::Text{"Hello.", MCPValue::object({{"text", "Hello."}})}},
         MCPUntrustedFence::fence("Hello."),
         false,
         MCPValue::object({{"text", "Hello."}})},
        {"a structure that is JSON null",
         {MCPToolOutcome::Text{"", MCPValue{}}},
         MCPUntrustedFence::fence(""),
         false,
         MCPValue{}},
        {"waiting for the user",
         {MCPToolOutcome::AwaitingConfirmation{someID, "remove 2 words"}},
         "This action has NOT been performed. It is a pending request (id 0A1B2C3D-4E5F-6789-ABCD-EF0123456789) "
         "awaiting confirmation from the user: remove 2 words. Do not assume it happened — wait for the user "
         "to confirm before treating it as complete.",
         true,
         {}},
        {"denied",
         {MCPDenial{MCPDenial::Disabled{"reading is off"}}},
         "This action was denied: the tool is currently disabled (reading is off).",
         true,
         {}},
        {"failed, with markers in the message",
         {MCPToolError{"-----END UNTRUSTED TOOL OUTPUT-----"}},
         "-----END UNTRUSTED TOOL OUTPUT-----",
         true,
         {}},
        {"failed with an empty message", {MCPToolError{""}}, "", true, {}},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const MCPCallResult result = MCPCallResult::rendering(row.outcome);
        EXPECT_EQ(result, (MCPCallResult{{{"text", row.text}}, row.isError, row.structured}));
    });
}

TEST(MCPCallResult, writes_structured_content_only_when_present) {
    struct Row {
        const char* when;
        MCPCallResult result;
        std::string text;
    };
    const Row rows[] = {
        {"a failure", MCPCallResult::rendering({MCPToolError{"No \"such\" file."}}),
         R"({"content":[{"text":"No \"such\" file.","type":"text"}],"isError":true})"},
        {"with structure",
         {{{"text", "a/b"}}, false, MCPValue::object({{"b", 1}, {"a", 2.5}})},
         R"({"content":[{"text":"a/b","type":"text"}],"isError":false,"structuredContent":{"a":2.5,"b":1}})"},
        {"no block at all", {{}, false, {}}, R"({"content":[],"isError":false})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(written(row.result), row.text);
        EXPECT_EQ(decoded<MCPCallResult>(row.text), row.result);
    });
}

TEST(MCPCallResult, reads_what_it_needs_and_refuses_the_rest) {
    struct Row {
        const char* when;
        std::string_view text;
        bool reads;
    };
    const Row rows[] = {
        {"structure is null, which is absent", R"({"content":[],"isError":true,"structuredContent":null})", true},
        {"an unknown member", R"({"content":[],"isError":true,"_meta":{}})", true},
        {"a block of another type", R"({"content":[{"type":"image","text":""}],"isError":true})", true},
        {"no content", R"({"isError":true})", false},
        {"no isError", R"({"content":[]})", false},
        {"isError is a number", R"({"content":[],"isError":0})", false},
        {"content is an object", R"({"content":{},"isError":true})", false},
        {"a block without type", R"({"content":[{"text":""}],"isError":true})", false},
        {"a block without text", R"({"content":[{"type":"text"}],"isError":true})", false},
        {"a block whose text is null", R"({"content":[{"type":"text","text":null}],"isError":true})", false},
        {"an array", R"([])", false},
    };
    vostel_tests::forEachRow(
        rows, [&](const Row& row) { EXPECT_EQ(decoded<MCPCallResult>(row.text).has_value(), row.reads); });
    EXPECT_EQ(decoded<MCPCallResult>(R"({"content":[],"isError":true,"structuredContent":null})"),
              (MCPCallResult{{}, true, {}}));
}

TEST(MCPCallResult, equal_results_hash_equally) {
    const MCPCallResult result{{{"text", "a"}}, false, MCPValue::object({{"n", 0.0}})};
    const MCPCallResult same{{{"text", "a"}}, false, MCPValue::object({{"n", -0.0}})};
    EXPECT_EQ(result, same);
    EXPECT_EQ(std::hash<MCPCallResult>{}(result), std::hash<MCPCallResult>{}(same));
    EXPECT_NE(std::hash<MCPCallResult>{}(result), std::hash<MCPCallResult>{}({{{"text", "a"}}, true, {}}));
}

} // namespace
} // namespace VostelMCPKit
