// The verbs that read and change the settings, the words and the models.
#include "companion/commands/ModelVerbs.h"
#include "companion/commands/SettingsVerbs.h"
#include "companion/commands/WordVerbs.h"
#include "companion/store/Settings.h"
#include "tests/companion/commands/VerbFixture.h"

namespace vostel_companion {

namespace {

struct SettingsVerbs : testing::Test, VerbFixture {};
struct WordVerbs : testing::Test, VerbFixture {};
struct ModelVerbs : testing::Test, VerbFixture {};

const std::string readingOn = "reading on: AI clients may read your history, transcripts and recordings.\n";
const std::string readingOff = "reading off: AI clients may not read your history, transcripts and recordings.\n";

} // namespace

TEST_F(SettingsVerbs, reading_is_off_until_the_user_turns_it_on) {
    EXPECT_EQ(run(Command::ShowSettings{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), readingOff);
    EXPECT_EQ(run(Command::SetReading{true}, context), Exit::done);
    EXPECT_EQ(takePrinted(), readingOn);
    EXPECT_EQ(run(Command::ShowSettings{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), readingOn);
    EXPECT_EQ(loadSettings(database), Settings{true});
    EXPECT_EQ(run(Command::SetReading{false}, context), Exit::done);
    EXPECT_EQ(takePrinted(), readingOff);
    EXPECT_EQ(loadSettings(database), Settings{false});
}

TEST_F(SettingsVerbs, reading_can_be_allowed_only_in_a_terminal) {
    context.isOnTerminal = false;
    EXPECT_EQ(run(Command::SetReading{true}, context), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "Allowing AI clients to read needs a person, so this command works only in a terminal. "
                            "Nothing was changed.\n");
    EXPECT_EQ(loadSettings(database), Settings{false});
    EXPECT_EQ(run(Command::SetReading{false}, context), Exit::done) << "forbidding harms nothing";
}

TEST_F(SettingsVerbs, a_failing_store_is_reported) {
    ASSERT_TRUE(database.execute("DROP TABLE settings"));
    EXPECT_EQ(run(Command::ShowSettings{}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "Vostel's database could not be used: no such table: settings.\n");
    EXPECT_EQ(run(Command::SetReading{true}, context), Exit::failed);
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(WordVerbs, add_list_and_remove) {
    EXPECT_EQ(run(Command::ListWords{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "The vocabulary is empty.\n");

    EXPECT_EQ(run(Command::AddWord{"bostel", "Vostel"}, context), Exit::done);
    EXPECT_EQ(run(Command::AddWord{"bostel", "Vostel"}, context), Exit::done);
    EXPECT_EQ(run(Command::AddWord{"BOSTEL", ""}, context), Exit::done);
    EXPECT_EQ(run(Command::AddWord{" Ada  Lovelace ", ""}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "added: bostel  ->  Vostel\nunchanged: bostel  ->  Vostel\nupdated: BOSTEL\n"
                             "added: Ada Lovelace\n");

    EXPECT_EQ(run(Command::ListWords{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "Ada Lovelace\nBOSTEL\n");

    EXPECT_EQ(run(Command::RemoveWords{{"ada lovelace", "bostel"}}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "removed: Ada Lovelace\nremoved: BOSTEL\n");
    EXPECT_EQ(takeErrors(), "");
}

TEST_F(WordVerbs, missing_words_are_named_and_the_others_removed) {
    std::ignore = run(Command::AddWord{"one", ""}, context);
    takePrinted();
    EXPECT_EQ(run(Command::RemoveWords{{"two", "one", "\x1B"}}, context), Exit::refused);
    EXPECT_EQ(takePrinted(), "removed: one\n");
    EXPECT_EQ(takeErrors(), "The vocabulary has no word 'two'.\nThe vocabulary has no word '\xEF\xBF\xBD'.\n");
}

TEST_F(WordVerbs, a_word_without_text_is_not_added) {
    EXPECT_EQ(run(Command::AddWord{"  ", "x"}, context), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(),
              "The word '  ' was not added: it has no usable text, or it or its replacement is too long.\n");
}

TEST_F(WordVerbs, control_characters_in_stored_text_are_not_printed) {
    const std::string stored = hostile + "\n";
    EXPECT_EQ(run(Command::AddWord{"word", stored + "x"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "added: word  ->  " + harmless + " x\n");
    EXPECT_EQ(run(Command::ListWords{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "word  ->  " + harmless + " x\n");
}

TEST_F(WordVerbs, a_failing_store_is_reported) {
    ASSERT_TRUE(database.execute("DROP TABLE vocabulary"));
    const std::string complaint = "Vostel's database could not be used: no such table: vocabulary.\n";
    EXPECT_EQ(run(Command::ListWords{}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), complaint);
    EXPECT_EQ(run(Command::AddWord{"a", ""}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), complaint);
    EXPECT_EQ(run(Command::RemoveWords{{"a", "b"}}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), complaint);
}

TEST_F(ModelVerbs, list_install_and_remove) {
    EXPECT_EQ(run(Command::ListModels{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "installed  en-us  English (United States)\navailable  de  German\n");

    EXPECT_EQ(run(Command::InstallModel{"de"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' is installed.\n");
    EXPECT_EQ(models.contents(), ModelFixture::whole);
    EXPECT_EQ(run(Command::InstallModel{"de"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' is installed already.\n");

    EXPECT_EQ(run(Command::RemoveModel{"de"}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' was removed.\n");
    EXPECT_EQ(models.contents(), (std::set<std::string>{".staging", ".removed"}));
    EXPECT_EQ(run(Command::RemoveModel{"de"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "The model 'de' is not installed.\n");
}

TEST_F(ModelVerbs, failures_are_reported) {
    EXPECT_EQ(run(Command::InstallModel{"xx"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "Vostel knows no speech recognition model with this identifier.\n");
    EXPECT_EQ(run(Command::RemoveModel{"xx"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "Vostel knows no speech recognition model with this identifier.\n");
    EXPECT_EQ(run(Command::RemoveModel{"en-us"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "The model en-us belongs to the system and cannot be removed by Vostel.\n");
    models.writeCatalogue(std::string(64, '0'));
    EXPECT_EQ(run(Command::InstallModel{"de"}, context), Exit::failed);
    EXPECT_EQ(takeErrors(), "The model de was not installed, because its SHA-256 is " +
                                std::string{ModelFixture::germanChecksum} + " and not " + std::string(64, '0') +
                                " as the catalogue says.\n");
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(ModelVerbs, an_interrupted_installation_leaves_nothing) {
    cancellation.cancel();
    EXPECT_EQ(run(Command::InstallModel{"de"}, context), Exit::refused);
    EXPECT_EQ(takeErrors(), "The installation was cancelled; nothing was installed.\n");
    EXPECT_FALSE(std::filesystem::exists(models.installed()));
}

TEST_F(ModelVerbs, an_installation_shows_its_progress) {
    std::string screen;
    context.progress = ProgressTerminal{[&](std::string_view text) { screen += text; }, [] { return std::size_t{20}; },
                                        [] { return std::chrono::steady_clock::time_point{}; }};
    EXPECT_EQ(run(Command::InstallModel{"de"}, context), Exit::done);
    EXPECT_TRUE(screen.starts_with("\r\x1B[KInstalling   0%")) << screen;
    EXPECT_TRUE(screen.ends_with("\r\x1B[KInstalling 100%\r\x1B[K")) << screen;
}

} // namespace vostel_companion
