#include "companion/tools/ComingTools.h"
#include "companion/tools/TranscriptionTools.h"
#include "kit/tools/MCPToolCatalogue.h"
#include "tests/companion/support/AlwaysModel.h"
#include "tests/companion/support/SchemaCheck.h"
#include "tests/companion/support/SoundFile.h"

#include <cmath>
#include <gtest/gtest.h>

namespace vostel_companion {

using namespace VostelMCPKit;
using vostel_tests::mismatch;
using vostel_tests::outputSchema;
using vostel_tests::spoken;

namespace {

MCPToolOutcome run(const ToolTable& tools, const std::string& name, const MCPValue& arguments) {
    Cancellation never;
    return tools.at(name)({arguments, never, [](double) {}});
}

std::string failure(const MCPToolOutcome& outcome) {
    const auto* error = std::get_if<MCPToolError>(&outcome.is);
    return error != nullptr ? error->message : "no failure";
}

} // namespace

TEST(TranscribeFile, ItsResultIsWhatItsSchemaPromisesAndNothingElse) {
    Transcriber transcriber{vostel_tests::always(VOSTEL_MODEL_FOLDER), 1};
    ToolTable tools;
    addTranscriptionTools(tools, transcriber);
    const MCPToolOutcome outcome =
        run(tools, "transcribe_file", MCPValue::object({{"path", spoken("0930").string()}, {"language", MCPValue{}}}));
    const auto* done = std::get_if<MCPToolOutcome::Text>(&outcome.is);
    ASSERT_NE(done, nullptr) << failure(outcome);
    EXPECT_EQ(done->text, "he might even have been made amiable himself");
    const MCPValue& structured = done->structured.value();
    EXPECT_EQ(mismatch(structured, outputSchema("transcribe_file")), "");
    EXPECT_EQ(structured.asObject()->size(), 2U);
    EXPECT_EQ(*structured["text"], MCPValue{done->text});
    const auto segments = structured["segments"]->asArray().value();
    ASSERT_EQ(segments.size(), 8U);
    EXPECT_EQ(*segments[0]["text"], MCPValue{"he"});
    EXPECT_EQ(segments[0].asObject()->size(), 3U);
    for (const MCPValue& segment : segments) {
        const double start = segment["startTime"]->asDouble().value();
        EXPECT_EQ(start, std::round(start * 1000) / 1000) << "no more digits than there is precision";
    }
}

TEST(TranscribeFile, ArgumentsOfTheWrongKindAreRefusedInOneSentence) {
    struct Row {
        const char* when;
        MCPValue arguments;
        const char* sentence;
    };
    const char* needsPath = "transcribe_file needs 'path', the absolute path of the file, as a string.";
    const Row rows[] = {
        {"none", MCPValue{}, needsPath},
        {"no object", MCPValue{"/a.wav"}, needsPath},
        {"no path", MCPValue::object({{"language", "en"}}), needsPath},
        {"a path that is a number", MCPValue::object({{"path", 7}}), needsPath},
        {"a language that is a number", MCPValue::object({{"path", "/a.wav"}, {"language", 7}}),
         "transcribe_file takes 'language' as a string, such as 'en'."},
        {"a relative path", MCPValue::object({{"path", "a.wav"}}),
         "The path 'a.wav' is relative; transcribe_file needs the absolute path of the file."},
    };
    Transcriber transcriber{vostel_tests::always("/nowhere"), 1};
    ToolTable tools;
    addTranscriptionTools(tools, transcriber);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.when);
        EXPECT_EQ(failure(run(tools, "transcribe_file", row.arguments)), row.sentence);
    }
}

TEST(ComingTools, FillInWhateverTheCatalogueAnnounces) {
    ToolTable tools;
    tools["history_list"] = [](const ToolCall&) { return failedOutcome("already there"); };
    addComingTools(tools);
    EXPECT_EQ(tools.size(), 12U);
    for (const MCPTool& tool : MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        SCOPED_TRACE(tool.name);
        ASSERT_TRUE(tools.contains(tool.name));
        EXPECT_EQ(failure(run(tools, tool.name, MCPValue::object({}))),
                  tool.name == "history_list" ? "already there"
                                              : "The tool " + tool.name +
                                                    " is not available yet: it comes with the next stage of this "
                                                    "version of Vostel.");
    }
}

} // namespace vostel_companion
