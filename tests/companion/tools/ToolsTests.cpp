// Rules for all tools: their names, and their answers to wrong arguments.
#include "kit/tools/MCPToolCatalogue.h"
#include "tests/companion/tools/ToolStage.h"
#include "tests/support/Table.h"

#include <algorithm>
#include <set>

namespace vostel_companion {

namespace {

MCPValue strings(std::size_t count) { return MCPValue::array(std::vector<MCPValue>(count, MCPValue{"word"})); }

} // namespace

TEST(Tools, are_those_of_the_catalogue) {
    ToolStage stage;
    std::set<std::string> announced;
    for (const MCPTool& tool : MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) announced.insert(tool.name);
    std::set<std::string> present;
    for (const auto& [name, tool] : stage.tools) present.insert(name);
    EXPECT_EQ(present, announced);
}

TEST(Tools, wrong_arguments_are_refused_in_one_sentence) {
    const MCPValue rule = MCPValue::object({{"word", "a"}, {"replacement", "b"}});
    struct Row {
        const char* when;
        const char* tool;
        MCPValue arguments;
        std::string sentence;
    };
    const Row rows[] = {
        {"not an object", "transcribe_file", "/a.wav", "transcribe_file takes 'arguments' as an object."},
        {"a list", "models_list", MCPValue::array({}), "models_list takes 'arguments' as an object."},
        {"no arguments", "transcribe_file", MCPValue{}, "transcribe_file needs 'path' as a string."},
        {"no path", "transcribe_file", MCPValue::object({{"language", "en"}}),
         "transcribe_file needs 'path' as a string."},
        {"a null path", "transcribe_file", MCPValue::object({{"path", nullptr}}),
         "transcribe_file needs 'path' as a string."},
        {"a path that is a number", "transcribe_file", MCPValue::object({{"path", 7}}),
         "transcribe_file needs 'path' as a string."},
        {"a language that is a list", "transcribe_file",
         MCPValue::object({{"path", "/a.wav"}, {"language", MCPValue::array({"en"})}}),
         "transcribe_file takes 'language' as a string."},
        {"a misspelt argument", "transcribe_file", MCPValue::object({{"path", "/a.wav"}, {"langauge", "en"}}),
         "transcribe_file takes no argument 'langauge'."},
        {"a name with a line break", "models_list", MCPValue::object({{"a\nb", 1}}),
         "models_list takes no argument 'a\uFFFDb'."},
        {"no url", "transcribe_url", MCPValue::object({}), "transcribe_url needs 'url' as a string."},
        {"a url that is a list", "transcribe_url", MCPValue::object({{"url", MCPValue::array({})}}),
         "transcribe_url needs 'url' as a string."},
        {"a limit in words", "history_list", MCPValue::object({{"limit", "ten"}}),
         "history_list takes 'limit' as a whole number."},
        {"a fraction of an entry", "history_list", MCPValue::object({{"limit", 0.5}}),
         "history_list takes 'limit' as a whole number."},
        {"more entries than can be counted", "recordings_list", MCPValue::object({{"limit", 1e300}}),
         "recordings_list takes 'limit' as a whole number."},
        {"a limit of 0", "history_list", MCPValue::object({{"limit", 0}}), "The limit must be at least 1."},
        {"a negative limit", "transcripts_list", MCPValue::object({{"limit", -1}}), "The limit must be at least 1."},
        {"a time that is a number", "history_list", MCPValue::object({{"since", 2026}}),
         "history_list takes 'since' as a string."},
        {"a time in words", "recordings_list", MCPValue::object({{"until", "yesterday"}}),
         "The value of until is neither an ISO 8601 timestamp with its time zone (such as \"2026-08-30T14:05:00Z\") "
         "nor a plain date (such as \"2026-08-30\")."},
        {"an empty time", "history_list", MCPValue::object({{"since", ""}}),
         "The value of since is neither an ISO 8601 timestamp with its time zone (such as \"2026-08-30T14:05:00Z\") "
         "nor a plain date (such as \"2026-08-30\")."},
        {"an id that is a number", "transcripts_list", MCPValue::object({{"id", 1}}),
         "transcripts_list takes 'id' as a string."},
        {"an empty id", "transcripts_list", MCPValue::object({{"id", ""}}),
         "There is no transcript with the id ''; ids come from a call of transcripts_list without one."},
        {"an unknown id", "transcripts_list", MCPValue::object({{"id", uuid(99).text()}}),
         "There is no transcript with the id '00000000-0000-0000-0000-000000000063'; ids come from a call of "
         "transcripts_list without one."},
        {"no id", "recording_get", MCPValue::object({}), "recording_get needs 'id' as a string."},
        {"no such id", "recording_get", MCPValue::object({{"id", "7"}}),
         "There is no recording with the id '7'; ids come from recordings_list."},
        {"an argument too many", "vocabulary_list", MCPValue::object({{"limit", 1}}),
         "vocabulary_list takes no argument 'limit'."},
        {"no rules", "vocabulary_add", MCPValue::object({}),
         "vocabulary_add needs 'rules' as a list of objects with the strings 'word' and 'replacement'."},
        {"an empty list of rules", "vocabulary_add", MCPValue::object({{"rules", MCPValue::array({})}}),
         "vocabulary_add needs 'rules' to have at least one element."},
        {"a bare rule", "vocabulary_add", MCPValue::object({{"rules", rule}}),
         "vocabulary_add needs 'rules' as a list of objects with the strings 'word' and 'replacement'."},
        {"a rule without replacement", "vocabulary_add",
         MCPValue::object({{"rules", MCPValue::array({rule, MCPValue::object({{"word", "a"}})})}}),
         "vocabulary_add needs 'rules' as a list of objects with the strings 'word' and 'replacement'."},
        {"a rule with something else in it", "vocabulary_add",
         MCPValue::object({{"rules", MCPValue::array({MCPValue::object({{"word", "a"}, {"with", "b"}})})}}),
         "vocabulary_add needs 'rules' as a list of objects with the strings 'word' and 'replacement'."},
        {"a rule with a number", "vocabulary_add",
         MCPValue::object({{"rules", MCPValue::array({MCPValue::object({{"word", "a"}, {"replacement", 1}})})}}),
         "vocabulary_add needs 'rules' as a list of objects with the strings 'word' and 'replacement'."},
        {"too many rules", "vocabulary_add",
         MCPValue::object({{"rules", MCPValue::array(std::vector<MCPValue>(1001, rule))}}),
         "vocabulary_add takes 'rules' with at most 1000 elements at a time."},
        {"no words", "vocabulary_remove", MCPValue::object({}),
         "vocabulary_remove needs 'words' as a list of strings."},
        {"one word alone", "vocabulary_remove", MCPValue::object({{"words", "a"}}),
         "vocabulary_remove needs 'words' as a list of strings."},
        {"an empty list of words", "vocabulary_remove", MCPValue::object({{"words", MCPValue::array({})}}),
         "vocabulary_remove needs 'words' to have at least one element."},
        {"a word that is a number", "vocabulary_remove",
         MCPValue::object({{"words", MCPValue::array({MCPValue{"a"}, MCPValue{1}})}}),
         "vocabulary_remove needs 'words' as a list of strings."},
        {"too many words", "vocabulary_remove", MCPValue::object({{"words", strings(1001)}}),
         "vocabulary_remove takes 'words' with at most 1000 elements at a time."},
        {"only empty words", "vocabulary_remove", MCPValue::object({{"words", MCPValue::array({"", " "})}}),
         "None of the words has usable text, so there is nothing to remove."},
        {"no identifier to install", "model_install", MCPValue::object({}),
         "model_install needs 'identifier' as a string."},
        {"an empty identifier to install", "model_install", MCPValue::object({{"identifier", ""}}),
         "Vostel knows no speech recognition model with this identifier."},
        {"a path as identifier", "model_install", MCPValue::object({{"identifier", "../../etc"}}),
         "Vostel knows no speech recognition model with this identifier."},
        {"no identifier to remove", "model_remove", MCPValue::object({{"identifier", true}}),
         "model_remove needs 'identifier' as a string."},
        {"an unknown model to remove", "model_remove", MCPValue::object({{"identifier", "tlh"}}),
         "Vostel knows no speech recognition model with this identifier."},
        {"the system's model to remove", "model_remove", MCPValue::object({{"identifier", "en-us"}}),
         "The model en-us belongs to the system and cannot be removed by Vostel."},
    };
    ToolStage stage;
    stage.allowReading();
    vostel_tests::forEachRow(rows,
                             [&](const Row& row) { EXPECT_EQ(stage.refusal(row.tool, row.arguments), row.sentence); });
    EXPECT_TRUE(stage.transcribed.empty());
    EXPECT_TRUE(stage.notified.empty());
}

TEST(Tools, a_database_that_cannot_be_opened_is_reported_in_one_sentence) {
    ToolStage stage;
    writeFile(stage.paths.database(), "This is a text of some length. It is not a database, but it has the same path.");
    const std::string sentence = "Vostel's database " + stage.paths.database().string() +
                                 " is damaged (file is not a database); nothing in it was changed, please restore it "
                                 "from a backup or move it away.";
    const MCPValue words = MCPValue::object({{"words", MCPValue::array({"a"})}});
    for (const char* tool : {"history_list", "transcripts_list", "recordings_list", "vocabulary_list"}) {
        SCOPED_TRACE(tool);
        EXPECT_EQ(stage.refusal(tool), sentence);
    }
    EXPECT_EQ(stage.refusal("vocabulary_remove", words), sentence);
}

TEST(Tools, a_cancelled_call_does_not_wait_for_the_database) {
    ToolStage stage;
    stage.cancellation.cancel();
    EXPECT_EQ(stage.refusal("vocabulary_list"), "The call was cancelled.");
    EXPECT_EQ(stage.refusal("history_list"), "The call was cancelled.");
    EXPECT_EQ(stage.refusal("vocabulary_remove", MCPValue::object({{"words", strings(1)}})), "The call was cancelled.");
    EXPECT_TRUE(stage.notified.empty());
}

TEST(Arguments, a_number_without_a_fraction_is_whole_in_every_notation) {
    ToolStage stage;
    stage.allowReading();
    EXPECT_EQ(stage.text("history_list", MCPValue::object({{"limit", 10.0}})), "There are no dictations here.");
    EXPECT_EQ(stage.text("history_list", MCPValue::object({{"limit", nullptr}})), "There are no dictations here.");
    EXPECT_EQ(stage.text("history_list", MCPValue{}), "There are no dictations here.");
}

} // namespace vostel_companion
