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

TEST_F(SettingsVerbs, reading_is_off_until_the_person_turns_it_on) {
    EXPECT_EQ(run(Command::ShowSettings{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), readingOff);
    EXPECT_EQ(run(Command::SetReading{true}, world), Exit::done);
    EXPECT_EQ(takePrinted(), readingOn);
    EXPECT_EQ(run(Command::ShowSettings{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), readingOn);
    EXPECT_EQ(loadSettings(database), Settings{true});
    EXPECT_EQ(run(Command::SetReading{false}, world), Exit::done);
    EXPECT_EQ(takePrinted(), readingOff);
    EXPECT_EQ(loadSettings(database), Settings{false});
}

TEST_F(SettingsVerbs, a_failing_store_is_reported) {
    ASSERT_TRUE(database.execute("DROP TABLE settings"));
    EXPECT_EQ(run(Command::ShowSettings{}, world), Exit::failed);
    EXPECT_EQ(takeTold(), "Vostel's database could not be used: no such table: settings.\n");
    EXPECT_EQ(run(Command::SetReading{true}, world), Exit::failed);
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(WordVerbs, teach_list_and_forget) {
    EXPECT_EQ(run(Command::ListWords{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeTold(), "Vostel was taught no words yet.\n");

    EXPECT_EQ(run(Command::AddWord{"bostel", "Vostel"}, world), Exit::done);
    EXPECT_EQ(run(Command::AddWord{"bostel", "Vostel"}, world), Exit::done);
    EXPECT_EQ(run(Command::AddWord{"BOSTEL", ""}, world), Exit::done);
    EXPECT_EQ(run(Command::AddWord{" Ada  Lovelace ", ""}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "added: bostel  ->  Vostel\nunchanged: bostel  ->  Vostel\nupdated: BOSTEL\n"
                             "added: Ada Lovelace\n");

    EXPECT_EQ(run(Command::ListWords{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "Ada Lovelace\nBOSTEL\n");

    EXPECT_EQ(run(Command::RemoveWords{{"ada lovelace", "bostel"}}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "removed: Ada Lovelace\nremoved: BOSTEL\n");
    EXPECT_EQ(takeTold(), "");
}

TEST_F(WordVerbs, words_that_are_not_there_are_named_and_the_others_forgotten) {
    std::ignore = run(Command::AddWord{"one", ""}, world);
    takePrinted();
    EXPECT_EQ(run(Command::RemoveWords{{"two", "one", "\x1B"}}, world), Exit::notAsAsked);
    EXPECT_EQ(takePrinted(), "removed: one\n");
    EXPECT_EQ(takeTold(), "Vostel was never taught 'two'.\nVostel was never taught '\xEF\xBF\xBD'.\n");
}

TEST_F(WordVerbs, a_word_without_text_is_not_added) {
    EXPECT_EQ(run(Command::AddWord{"  ", "x"}, world), Exit::notAsAsked);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeTold(),
              "The word '  ' was not added: it has no usable text, or it or its replacement is too long.\n");
}

TEST_F(WordVerbs, stored_text_does_not_reach_the_terminal_raw) {
    const std::string stored = hostile + "\n";
    EXPECT_EQ(run(Command::AddWord{"word", stored + "x"}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "added: word  ->  " + harmless + " x\n");
    EXPECT_EQ(run(Command::ListWords{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "word  ->  " + harmless + " x\n");
}

TEST_F(WordVerbs, a_failing_store_is_reported) {
    ASSERT_TRUE(database.execute("DROP TABLE vocabulary"));
    const std::string complaint = "Vostel's database could not be used: no such table: vocabulary.\n";
    EXPECT_EQ(run(Command::ListWords{}, world), Exit::failed);
    EXPECT_EQ(takeTold(), complaint);
    EXPECT_EQ(run(Command::AddWord{"a", ""}, world), Exit::failed);
    EXPECT_EQ(takeTold(), complaint);
    EXPECT_EQ(run(Command::RemoveWords{{"a", "b"}}, world), Exit::failed);
    EXPECT_EQ(takeTold(), complaint);
}

TEST_F(ModelVerbs, list_install_and_remove) {
    EXPECT_EQ(run(Command::ListModels{}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "installed  en-us  English (United States)\navailable  de  German\n");

    EXPECT_EQ(run(Command::InstallModel{"de"}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' is installed.\n");
    EXPECT_EQ(models.contents(), ModelFixture::whole);
    EXPECT_EQ(run(Command::InstallModel{"de"}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' is installed already.\n");

    EXPECT_EQ(run(Command::RemoveModel{"de"}, world), Exit::done);
    EXPECT_EQ(takePrinted(), "The model 'de' was removed.\n");
    EXPECT_EQ(models.contents(), (std::set<std::string>{".staging", ".removed"}));
    EXPECT_EQ(run(Command::RemoveModel{"de"}, world), Exit::notAsAsked);
    EXPECT_EQ(takeTold(), "The model 'de' is not installed.\n");
}

TEST_F(ModelVerbs, what_cannot_be_done_is_said) {
    EXPECT_EQ(run(Command::InstallModel{"xx"}, world), Exit::notAsAsked);
    EXPECT_EQ(takeTold(), "Vostel knows no speech recognition model with this identifier.\n");
    EXPECT_EQ(run(Command::RemoveModel{"xx"}, world), Exit::notAsAsked);
    EXPECT_EQ(takeTold(), "Vostel knows no speech recognition model with this identifier.\n");
    EXPECT_EQ(run(Command::RemoveModel{"en-us"}, world), Exit::notAsAsked);
    EXPECT_EQ(takeTold(), "The model en-us belongs to the system and cannot be removed by Vostel.\n");
    models.writeCatalogue(std::string(64, '0'));
    EXPECT_EQ(run(Command::InstallModel{"de"}, world), Exit::failed);
    EXPECT_EQ(takeTold(), "The model de was not installed, because its SHA-256 is " +
                              std::string{ModelFixture::germanChecksum} + " and not " + std::string(64, '0') +
                              " as the catalogue says.\n");
    EXPECT_EQ(takePrinted(), "");
}

TEST_F(ModelVerbs, an_interrupted_installation_leaves_nothing) {
    cancellation.cancel();
    EXPECT_EQ(run(Command::InstallModel{"de"}, world), Exit::notAsAsked);
    EXPECT_EQ(takeTold(), "The installation was cancelled; nothing was installed.\n");
    EXPECT_FALSE(std::filesystem::exists(models.installed()));
}

TEST_F(ModelVerbs, an_installation_shows_how_far_it_is) {
    std::string screen;
    world.progress = ProgressTerminal{[&](std::string_view text) { screen += text; }, [] { return std::size_t{20}; },
                                      [] { return std::chrono::steady_clock::time_point{}; }};
    EXPECT_EQ(run(Command::InstallModel{"de"}, world), Exit::done);
    EXPECT_TRUE(screen.starts_with("\r\x1B[KInstalling   0%")) << screen;
    EXPECT_TRUE(screen.ends_with("\r\x1B[KInstalling 100%\r\x1B[K")) << screen;
}

} // namespace vostel_companion
