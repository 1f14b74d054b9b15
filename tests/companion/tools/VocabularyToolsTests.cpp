#include "companion/store/Vocabulary.h"
#include "companion/tools/ResultSize.h"
#include "tests/companion/tools/ToolStage.h"

namespace vostel_companion {

namespace {

using MCPConfirmationLogic::Decision;

MCPValue rules(std::initializer_list<std::pair<const char*, const char*>> list) {
    std::vector<MCPValue> values;
    for (const auto& [word, replacement] : list)
        values.push_back(MCPValue::object({{"word", word}, {"replacement", replacement}}));
    return MCPValue::object({{"rules", MCPValue::array(values)}});
}

MCPValue words(std::initializer_list<MCPValue> list) { return MCPValue::object({{"words", MCPValue::array(list)}}); }

void answer(ToolStage& stage, std::uint8_t id, Decision decision) {
    Database database = stage.database();
    Confirmations confirmations{database, stage.fixture.models, [&] { return stage.time; }, [] { return UUID{}; }};
    const auto done = confirmations.answer(uuid(id), decision);
    EXPECT_TRUE(done) << done.error().description();
}

const std::string why = "\nA rule is skipped when its word has no usable text or more than 200 characters, or its "
                        "replacement takes more than 4096 bytes.";

} // namespace

TEST(VocabularyTools, report_the_outcome_of_each_rule) {
    ToolStage stage;
    EXPECT_EQ(stage.text("vocabulary_list"), "0 vocabulary rules.");
    EXPECT_EQ(stage.text("vocabulary_add", rules({{"jon", "John"}, {" MCP ", ""}, {"!?", "x"}})),
              "3 outcomes.\nadded: jon → John\nadded: MCP (this spelling)\nskipped: !? → x" + why);
    EXPECT_EQ(
        stage.result,
        MCPValue::object(
            {{"results",
              MCPValue::array({MCPValue::object({{"word", "jon"}, {"replacement", "John"}, {"outcome", "added"}}),
                               MCPValue::object({{"word", "MCP"}, {"replacement", ""}, {"outcome", "added"}}),
                               MCPValue::object({{"word", "!?"}, {"replacement", "x"}, {"outcome", "skipped"}})})}}));
    EXPECT_EQ(stage.text("vocabulary_add", rules({{"JON", "Jonathan"}, {"MCP", ""}})),
              "2 outcomes.\nupdated: JON → Jonathan\nunchanged: MCP (this spelling)");
    EXPECT_EQ(stage.text("vocabulary_list"), "2 vocabulary rules.\nJON → Jonathan\nMCP (this spelling)");
    EXPECT_EQ(
        stage.result,
        MCPValue::object({{"entries", MCPValue::array({MCPValue::object({{"word", "JON"}, {"replacement", "Jonathan"}}),
                                                       MCPValue::object({{"word", "MCP"}, {"replacement", ""}})})}}));
}

TEST(VocabularyTools, a_rule_that_is_too_long_is_skipped_and_repeated_only_in_part) {
    ToolStage stage;
    const std::string word(5'000'000, 'x');
    EXPECT_EQ(stage.text("vocabulary_add", rules({{word.c_str(), "short"}})),
              "1 outcome.\nskipped: " + std::string(1000, 'x') + "… → short" + why);
}

TEST(VocabularyTools, a_long_vocabulary_is_shown_until_the_result_is_full) {
    ToolStage stage;
    {
        Database database = stage.database();
        std::vector<VocabularyRule> many;
        for (int number = 0; number < 1500; ++number)
            many.push_back({"word " + std::to_string(number), std::string(4000, 'x')});
        EXPECT_TRUE(Vocabulary{database}.add(many));
    }
    const MCPToolOutcome outcome = stage.run("vocabulary_list");
    EXPECT_LE(resultSize(outcome), largestResult);
    const auto& text = std::get<MCPToolOutcome::Text>(outcome.is);
    EXPECT_TRUE(text.text.starts_with("1500 vocabulary rules; the result has room for the first 1125.\n"))
        << text.text.substr(0, 100);
    EXPECT_EQ((*text.structured)["entries"]->asArray()->size(), 1125U);
}

TEST(VocabularyRemove, waits_for_the_user_and_then_returns_the_outcome) {
    ToolStage stage;
    EXPECT_EQ(stage.text("vocabulary_add", rules({{"Jon", "John"}, {"MCP", ""}})).substr(0, 10), "2 outcomes");
    const std::string pending = "waits (00000000-0000-0000-0000-000000000001): Remove the vocabulary rules for 2 "
                                "words: \"jon\", \"nothing\" (asked for by 'test client'; the user answers in Vostel's "
                                "own terminal, or in any terminal after the command 'Vostel pending')";
    EXPECT_EQ(stage.refusal("vocabulary_remove", words({"jon", "nothing"})), pending);
    EXPECT_EQ(stage.refusal("vocabulary_remove", words({"NOTHING", "Jon", "jon"})), pending);
    ASSERT_EQ(stage.notified.size(), 1U) << "the user is asked once";
    EXPECT_EQ(stage.notified[0].request.id, uuid(1));
    EXPECT_EQ(stage.text("vocabulary_list"), "2 vocabulary rules.\nJon → John\nMCP (this spelling)");

    answer(stage, 1, Decision::confirmed);
    EXPECT_EQ(stage.text("vocabulary_remove", words({"jon", "nothing"})),
              "The user confirmed this action, and it has been performed.\nRemoved:\nJon");
    EXPECT_EQ(stage.result, MCPValue::object({{"removed", MCPValue::array({"Jon"})}}));
    EXPECT_EQ(stage.text("vocabulary_list"), "1 vocabulary rule.\nMCP (this spelling)");
    EXPECT_EQ(stage.text("vocabulary_remove", words({"jon", "nothing"})),
              "The user confirmed this action, and it has been performed.\nRemoved:\nJon")
        << "the answer to the first call may have been lost";
    stage.time += 300s;
    EXPECT_EQ(stage.refusal("vocabulary_remove", words({"jon", "nothing"})).substr(0, 45),
              "waits (00000000-0000-0000-0000-000000000002):")
        << "the time of the first request is over";
}

TEST(VocabularyRemove, denied_and_expired_requests_are_failures_with_their_own_sentence) {
    ToolStage stage;
    std::ignore = stage.run("vocabulary_remove", words({"a"}));
    answer(stage, 1, Decision::denied);
    EXPECT_EQ(stage.refusal("vocabulary_remove", words({"a"})), "The user denied this action. It was not performed.");
    stage.time += 300s;

    std::ignore = stage.run("vocabulary_remove", words({"a"}));
    stage.time += 300s;
    EXPECT_EQ(stage.refusal("vocabulary_remove", words({"a"})),
              "This confirmation request expired before the user responded, and the action was not performed. Create a "
              "new request if it is still needed.");
    EXPECT_EQ(stage.notified.size(), 2U);

    std::ignore = stage.run("vocabulary_remove", words({"b"}));
    answer(stage, 3, Decision::confirmed);
    EXPECT_EQ(stage.text("vocabulary_remove", words({"b"})),
              "The user confirmed this action, and it has been performed.\nNone of the words had a rule.");
    EXPECT_EQ(stage.result, MCPValue::object({{"removed", MCPValue::array({})}}));
}

TEST(ModelTools, list_install_and_remove_a_model) {
    ToolStage stage;
    const MCPValue german = MCPValue::object({{"identifier", "de"}});
    EXPECT_EQ(stage.text("models_list"), "Speech recognition models:\nen-us · English (United States) · installed\n"
                                         "de · German · not installed");
    EXPECT_EQ(stage.text("model_install", german), "The model de is installed.");
    EXPECT_EQ(stage.result, MCPValue::object({{"identifier", "de"}, {"installed", true}}));
    ASSERT_FALSE(stage.progress.empty());
    EXPECT_EQ(stage.progress.back(), (Progress{1, "Installing the model de, 100% done"}));
    EXPECT_TRUE(std::filesystem::is_directory(stage.fixture.installed()));
    EXPECT_EQ(stage.text("model_install", german), "The model de is installed.");
    EXPECT_EQ(stage.text("models_list"), "Speech recognition models:\nen-us · English (United States) · installed\n"
                                         "de · German · installed");
    EXPECT_EQ(
        stage.result,
        MCPValue::object(
            {{"models",
              MCPValue::array(
                  {MCPValue::object(
                       {{"identifier", "en-us"}, {"displayName", "English (United States)"}, {"installed", true}}),
                   MCPValue::object({{"identifier", "de"}, {"displayName", "German"}, {"installed", true}})})}}));

    EXPECT_TRUE(stage.refusal("model_remove", german)
                    .starts_with("waits (00000000-0000-0000-0000-000000000001): Remove the speech recognition model "
                                 "\"de\" from disk (asked for by 'test client'; "));
    EXPECT_TRUE(std::filesystem::is_directory(stage.fixture.installed()));
    answer(stage, 1, Decision::confirmed);
    EXPECT_FALSE(std::filesystem::exists(stage.fixture.installed()));
    EXPECT_EQ(stage.text("model_remove", german),
              "The user confirmed this action, and it has been performed.\nThe model de was removed.");
    EXPECT_EQ(stage.result, MCPValue::object({{"identifier", "de"}, {"removed", true}}));

    stage.time += 300s;
    std::ignore = stage.run("model_remove", german);
    answer(stage, 2, Decision::confirmed);
    EXPECT_EQ(stage.text("model_remove", german),
              "The user confirmed this action, and it has been performed.\nThe model de was not installed.");
    EXPECT_EQ(stage.result, MCPValue::object({{"identifier", "de"}, {"removed", false}}));
}

TEST(ModelTools, a_failed_or_cancelled_installation_leaves_nothing) {
    ToolStage stage;
    const MCPValue german = MCPValue::object({{"identifier", "de"}});
    const std::string zeros(64, '0');
    stage.fixture.writeCatalogue(zeros);
    EXPECT_EQ(stage.refusal("model_install", german), "The model de was not installed, because its SHA-256 is " +
                                                          std::string{ModelFixture::germanChecksum} + " and not " +
                                                          zeros + " as the catalogue says.");
    stage.cancellation.cancel();
    EXPECT_EQ(stage.refusal("model_install", german), "The installation was cancelled; nothing was installed.");
    EXPECT_FALSE(std::filesystem::exists(stage.fixture.installed()));

    writeFile(stage.fixture.folder / "models.json", "{");
    EXPECT_TRUE(stage.refusal("models_list").starts_with("The model catalogue ")) << stage.refusal("models_list");
}

} // namespace vostel_companion
