#include "companion/commands/PendingVerbs.h"
#include "companion/store/Vocabulary.h"
#include "tests/companion/commands/VerbFixture.h"
#include "tests/support/Table.h"

namespace vostel_companion {

using namespace std::chrono_literals;
using VostelMCPKit::MCPConfirmationLogic::Decision;
using VostelMCPKit::MCPConfirmationLogic::Status;

namespace {

struct PendingVerbs : testing::Test, VerbFixture {
    Confirmations confirmations{database, models.models, context.now, context.newID};

    /// The status that a client gets.
    Status ask(const std::vector<std::string>& words, const std::string& client = "") {
        const auto report = confirmations.ask({ConfirmableAction::RemoveWords{words}}, client);
        EXPECT_TRUE(report);
        return report ? report->status : Status::unknown;
    }
    void teach(const std::string& word) {
        const VocabularyRule rule{word, "x"};
        ASSERT_TRUE(Vocabulary{database}.add({&rule, 1}));
    }
    std::size_t wordCount() { return Vocabulary{database}.list().value().size(); }
    Exit answer(const std::string& id, Decision decision) { return run(Command::AnswerPending{id, decision}, context); }
};

const std::string firstID = "00000000-0000-0000-0000-000000000001";

} // namespace

TEST_F(PendingVerbs, list_waiting_requests_with_their_time_left_and_their_client) {
    ask({"one"}, "claude-code");
    time += 61s;
    ask({"two", "three"});
    EXPECT_EQ(run(Command::ListPending{}, context), Exit::done);
    EXPECT_EQ(takePrinted(),
              "00000000-0000-0000-0000-000000000001  3:59 left  'claude-code': Remove the vocabulary rule for \"one\"\n"
              "00000000-0000-0000-0000-000000000002  5:00 left  an AI client: Remove the vocabulary rules for 2 words: "
              "\"two\", \"three\"\n");
    EXPECT_EQ(takeErrors(), "To answer, run Vostel confirm ID or Vostel deny ID in a terminal.\n");
}

TEST_F(PendingVerbs, show_every_word_to_confirm) {
    std::vector<std::string> words;
    for (int number = 10; number < 60; ++number) words.push_back("word" + std::to_string(number));
    ask(words);
    EXPECT_EQ(run(Command::ListPending{}, context), Exit::done);
    EXPECT_TRUE(takePrinted().ends_with(", \"word58\", \"word59\"\n"));
}

TEST_F(PendingVerbs, say_when_nothing_waits) {
    EXPECT_EQ(run(Command::ListPending{}, context), Exit::done);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(), "Nothing waits for your confirmation.\n");
}

TEST_F(PendingVerbs, do_not_print_control_characters_of_clients) {
    ask({"one"});
    // The store removes such characters from words, so another program must have written this one.
    Statement smuggle{database, "UPDATE confirmationItems SET item = ?"};
    ASSERT_TRUE(smuggle.bind(hostile).run());
    EXPECT_EQ(run(Command::ListPending{}, context), Exit::done);
    EXPECT_EQ(takePrinted(),
              firstID + "  5:00 left  an AI client: Remove the vocabulary rule for \"" + harmless + "\"\n");
}

TEST_F(PendingVerbs, a_confirmed_removal_is_performed_and_reported_to_its_client) {
    teach("One");
    EXPECT_EQ(ask({"one"}), Status::pending);
    EXPECT_EQ(answer(firstID, Decision::confirmed), Exit::done);
    EXPECT_EQ(takePrinted(), "Confirmed; removed \"One\".\n");
    EXPECT_EQ(wordCount(), 0U);
    EXPECT_EQ(ask({"one"}), Status::confirmed);
}

TEST_F(PendingVerbs, a_denied_removal_is_not_performed) {
    teach("one");
    ask({"one"});
    EXPECT_EQ(answer(firstID, Decision::denied), Exit::done);
    EXPECT_EQ(takePrinted(), "Denied; nothing was removed.\n");
    EXPECT_EQ(wordCount(), 1U);
    EXPECT_EQ(ask({"one"}), Status::denied);
}

TEST_F(PendingVerbs, a_request_can_be_confirmed_only_in_a_terminal) {
    teach("one");
    ask({"one"});
    context.isOnTerminal = false;
    EXPECT_EQ(answer(firstID, Decision::confirmed), Exit::refused);
    EXPECT_EQ(takePrinted(), "");
    EXPECT_EQ(takeErrors(),
              "Confirming a request needs a person, so this command works only in a terminal. Nothing was "
              "changed.\n");
    EXPECT_EQ(ask({"one"}), Status::pending);
    EXPECT_EQ(wordCount(), 1U);
    EXPECT_EQ(answer(firstID, Decision::denied), Exit::done) << "denying harms nothing";
}

TEST_F(PendingVerbs, a_removal_of_nothing_can_be_confirmed) {
    ask({"one"});
    EXPECT_EQ(answer(firstID, Decision::confirmed), Exit::done);
    EXPECT_EQ(takePrinted(), "Confirmed; there was nothing left to remove.\n");
}

TEST_F(PendingVerbs, a_model_is_removed_by_confirmation) {
    ASSERT_TRUE(models.models.install("de", {[](double) {}, [] { return false; }}));
    ASSERT_TRUE(confirmations.ask({ConfirmableAction::RemoveModel{"de"}}));
    EXPECT_EQ(answer(firstID, Decision::confirmed), Exit::done);
    EXPECT_EQ(takePrinted(), "Confirmed; removed \"de\".\n");
    EXPECT_FALSE(std::filesystem::exists(models.installed()));
}

TEST_F(PendingVerbs, the_beginning_of_an_ID_is_enough_if_it_names_one_request) {
    struct Row {
        const char* when;
        std::string id;
        Exit exit;
        std::string printed;
        std::string errors;
    };
    const Row rows[] = {
        {"nothing", "", Exit::failed, "", "'' is not the beginning of an id.\n"},
        {"no id", "the first one", Exit::failed, "", "'the first one' is not the beginning of an id.\n"},
        {"an id and more", firstID + "0", Exit::failed, "", "'" + firstID + "0' is not the beginning of an id.\n"},
        {"control characters", "\x1B[2J", Exit::failed, "", "'\xEF\xBF\xBD[2J' is not the beginning of an id.\n"},
        {"of none", "1", Exit::refused, "", "No request has an id that begins with 1.\n"},
        {"of both", "0000", Exit::refused, "",
         "More than one request has an id that begins with 0000; please give more characters of the id.\n"},
        {"of one, in lower case", "00000000-0000-0000-0000-00000000000a", Exit::done, "Denied; nothing was removed.\n",
         ""},
    };
    lastID = 9;
    ask({"one"});
    ask({"two"});
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(answer(row.id, Decision::denied), row.exit);
        EXPECT_EQ(takePrinted(), row.printed);
        EXPECT_EQ(takeErrors(), row.errors);
    });
}

TEST_F(PendingVerbs, an_answer_that_comes_too_late_or_twice_changes_nothing) {
    teach("one");
    ask({"one"});
    time += 300s;
    EXPECT_EQ(answer(firstID, Decision::confirmed), Exit::refused);
    EXPECT_EQ(takeErrors(), "This request has expired, so nothing was done.\n");

    ask({"two"});
    EXPECT_EQ(answer("00000000-0000-0000-0000-000000000002", Decision::denied), Exit::done);
    EXPECT_EQ(answer("00000000-0000-0000-0000-000000000002", Decision::confirmed), Exit::refused);
    EXPECT_EQ(takeErrors(), "This request has been answered already.\n");
    EXPECT_EQ(wordCount(), 1U);
}

} // namespace vostel_companion
