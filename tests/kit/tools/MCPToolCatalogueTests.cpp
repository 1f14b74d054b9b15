#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "kit/tools/MCPYouTubeAvailability.h"
#include "tests/support/JSON.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::decoded;
using vostel_tests::json;
using vostel_tests::written;
using Names = std::vector<std::string>;

/// The expected catalogue, in a file beside this one that people can read.
std::string catalogueFile() {
    std::ifstream file{VOSTEL_KIT_TESTS "/tools/catalogue.json"};
    EXPECT_TRUE(file.is_open());
    return {std::istreambuf_iterator<char>{file}, {}};
}

/// `text` without the white space between its tokens. Uses neither our reader nor our writer, because it checks them.
std::string compacted(std::string_view text) {
    std::string result;
    bool inString = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char character = text[index];
        if (!inString && (character == ' ' || character == '\n')) continue;
        result += character;
        if (inString && character == '\\') result += text[++index];
        if (character == '"') inString = !inString;
    }
    return result;
}

Names names(const std::vector<MCPTool>& tools) {
    Names result;
    for (const MCPTool& tool : tools) result.push_back(tool.name);
    return result;
}

Names strings(const MCPValue* array) {
    Names result;
    const auto elements = array != nullptr ? array->asArray() : std::nullopt;
    if (!elements) return result;
    for (const MCPValue& element : *elements) result.emplace_back(element.asString().value_or("?"));
    return result;
}

const Names withVideo{"transcribe_file",   "transcribe_url", "history_list",    "transcripts_list",
                      "recordings_list",   "recording_get",  "vocabulary_list", "vocabulary_add",
                      "vocabulary_remove", "models_list",    "model_install",   "model_remove"};

TEST(MCPToolCatalogue, lists_its_tools_in_order_and_the_video_tool_when_it_is_offered) {
    EXPECT_EQ(names(MCPToolCatalogue::tools(/*youTubeAvailable=*/true)), withVideo);
    Names withoutVideo = withVideo;
    std::erase(withoutVideo, "transcribe_url");
    EXPECT_EQ(names(MCPToolCatalogue::tools(/*youTubeAvailable=*/false)), withoutVideo);
    EXPECT_EQ(withoutVideo.size(), 11U);
}

TEST(MCPToolCatalogue, the_video_tool_is_offered_in_this_build) { EXPECT_TRUE(MCPYouTubeAvailability::isAvailable); }

TEST(MCPToolCatalogue, is_the_same_every_time) {
    for (const bool youTubeAvailable : {true, false}) {
        EXPECT_EQ(MCPToolCatalogue::tools(youTubeAvailable), MCPToolCatalogue::tools(youTubeAvailable));
        EXPECT_EQ(MCPToolCatalogue::encodedTools(youTubeAvailable), MCPToolCatalogue::encodedTools(youTubeAvailable));
        EXPECT_EQ(MCPToolCatalogue::encodedTools(youTubeAvailable), encode(MCPToolCatalogue::tools(youTubeAvailable)));
    }
}

TEST(MCPToolCatalogue, is_sent_exactly_as_the_file_says) {
    const auto request = MCPDispatchLogic::classify(R"({"id":1,"method":"tools/list"})");
    const auto response = MCPDispatchLogic::handshakeResponse(request, /*youTubeAvailable=*/true);
    ASSERT_TRUE(response);
    const std::string sent = written(*response);
    const std::string expected = R"({"id":1,"jsonrpc":"2.0","result":{"tools":)" + compacted(catalogueFile()) + "}}";
    const auto first = std::ranges::mismatch(sent, expected).in1 - sent.begin();
    EXPECT_TRUE(sent == expected) << "differs at: " << sent.substr(static_cast<std::size_t>(first), 100);
}

TEST(MCPToolCatalogue, each_tool_equals_that_of_the_file) {
    const auto expected = decoded<std::vector<MCPTool>>(catalogueFile());
    const auto tools = MCPToolCatalogue::tools(/*youTubeAvailable=*/true);
    ASSERT_TRUE(expected);
    ASSERT_EQ(expected->size(), tools.size());
    for (std::size_t index = 0; index < tools.size(); ++index) {
        SCOPED_TRACE(tools[index].name);
        EXPECT_EQ(tools[index].name, (*expected)[index].name);
        EXPECT_EQ(tools[index].description, (*expected)[index].description);
        EXPECT_EQ(written(tools[index].inputSchema), written((*expected)[index].inputSchema));
        ASSERT_TRUE(tools[index].outputSchema);
        EXPECT_EQ(written(*tools[index].outputSchema), written(*(*expected)[index].outputSchema));
        EXPECT_EQ(tools[index], (*expected)[index]);
    }
}

TEST(MCPToolCatalogue, each_tool_has_its_hints_its_flag_and_its_required_arguments) {
    struct Row {
        const char* when;
        MCPToolAnnotations hints;
        bool requiresUserInteraction;
        Names required;
        Names arguments;
        Names results;
    };
    constexpr MCPToolAnnotations changing{false, false, false, false};
    constexpr MCPToolAnnotations reading{true, false, false, false};
    constexpr MCPToolAnnotations removing{false, true, false, false};
    constexpr MCPToolAnnotations fetching{false, false, false, true};
    const Names window{"limit", "since", "until"};
    const Names page{"entries", "returnedCount", "totalCount"};
    const Row rows[] = {
        {"transcribe_file", changing, false, {"path"}, {"language", "path"}, {"segments", "text"}},
        {"transcribe_url", fetching, false, {"url"}, {"language", "url"}, {"segments", "text"}},
        {"history_list", reading, false, {}, window, page},
        {"transcripts_list", reading, false, {}, {"id", "limit", "since", "until"}, page},
        {"recordings_list", reading, false, {}, window, {"recordings", "returnedCount", "totalCount"}},
        {"recording_get",
         reading,
         false,
         {"id"},
         {"id"},
         {"duration", "id", "language", "lines", "startedAt", "state", "text"}},
        {"vocabulary_list", reading, false, {}, {}, {"entries"}},
        {"vocabulary_add", changing, false, {"rules"}, {"rules"}, {"results"}},
        {"vocabulary_remove", removing, true, {"words"}, {"words"}, {"removed"}},
        {"models_list", reading, false, {}, {}, {"models"}},
        {"model_install", fetching, false, {"identifier"}, {"identifier"}, {"identifier", "installed"}},
        {"model_remove", removing, true, {"identifier"}, {"identifier"}, {"identifier", "removed"}},
    };
    const auto propertyNames = [](const MCPSchema& schema) {
        Names result;
        const auto members = *schema.value["properties"]->asObject();
        for (const auto& member : members) result.emplace_back(member.key());
        return result;
    };
    const auto tools = MCPToolCatalogue::tools(/*youTubeAvailable=*/true);
    ASSERT_EQ(tools.size(), std::size(rows));
    for (std::size_t index = 0; index < tools.size(); ++index) {
        const Row& row = rows[index];
        const MCPTool& tool = tools[index];
        SCOPED_TRACE(row.when);
        EXPECT_EQ(tool.name, row.when);
        EXPECT_EQ(tool.annotations, row.hints);
        EXPECT_EQ(tool.requiresUserInteraction, row.requiresUserInteraction);
        EXPECT_EQ(strings(tool.inputSchema.value["required"]), row.required);
        EXPECT_EQ(tool.inputSchema.value["required"] != nullptr, !row.required.empty());
        EXPECT_EQ(propertyNames(tool.inputSchema), row.arguments);
        ASSERT_TRUE(tool.outputSchema);
        EXPECT_EQ(propertyNames(*tool.outputSchema), row.results);
    }
}

/// A schema and all schemas inside it.
std::vector<MCPValue> allSchemas(const MCPValue& root) {
    std::vector<MCPValue> found{root};
    for (std::size_t index = 0; index < found.size(); ++index) {
        const MCPValue schema = found[index];
        if (schema["items"] != nullptr) found.push_back(*schema["items"]);
        if (schema["properties"] == nullptr) continue;
        const auto members = *schema["properties"]->asObject();
        for (const auto& member : members) found.push_back(member.value);
    }
    return found;
}

TEST(MCPToolCatalogue, every_object_is_closed_and_every_schema_has_a_plain_type) {
    for (const MCPTool& tool : MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        SCOPED_TRACE(tool.name);
        std::vector<MCPValue> schemas = allSchemas(tool.inputSchema.value);
        for (const MCPValue& schema : allSchemas(tool.outputSchema->value)) schemas.push_back(schema);
        for (const MCPValue& schema : schemas) {
            const std::string type{schema["type"]->asString().value_or("")};
            if (type == "object") {
                ASSERT_NE(schema["additionalProperties"], nullptr);
                EXPECT_EQ(*schema["additionalProperties"], MCPValue{false});
                EXPECT_NE(schema["properties"], nullptr);
            } else if (type == "array") {
                EXPECT_NE(schema["items"], nullptr);
            } else {
                EXPECT_TRUE(type == "string" || type == "integer" || type == "number" || type == "boolean") << type;
                EXPECT_EQ(schema["additionalProperties"], nullptr);
            }
        }
    }
}

TEST(MCPToolCatalogue, only_two_properties_list_their_values) {
    std::vector<std::pair<std::string, Names>> found;
    for (const MCPTool& tool : MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        for (const MCPValue& root : {tool.inputSchema.value, tool.outputSchema->value}) {
            for (const MCPValue& schema : allSchemas(root)) {
                if (schema["enum"] != nullptr) found.emplace_back(tool.name, strings(schema["enum"]));
            }
        }
    }
    const decltype(found) expected{{"transcripts_list", {"file", "link"}}, {"recording_get", {"microphone", "system"}}};
    EXPECT_EQ(found, expected);
}

TEST(MCPToolCatalogue, descriptions_keep_their_dashes_and_quotation_marks) {
    const auto tools = MCPToolCatalogue::tools(/*youTubeAvailable=*/true);
    EXPECT_TRUE(tools[0].description.ends_with(
        "without asking them first — so transcribe the file the user actually named, and do not go looking through "
        "their disk on your own."));
    EXPECT_NE(tools[2].description.find("hotkey \xE2\x80\x94 newest first \xE2\x80\x94 together"), std::string::npos);
    EXPECT_NE(tools[5].description.find(R"(so "who said what" comes from)"), std::string::npos);
}

} // namespace
} // namespace VostelMCPKit
