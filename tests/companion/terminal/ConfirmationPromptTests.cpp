#include "companion/terminal/ConfirmationPrompt.h"
#include "tests/companion/commands/VerbFixture.h"

namespace vostel_companion {

using VostelMCPKit::MCPConfirmationLogic::Decision;
using Answer = ConfirmationPrompt::Answer;
using Turn = ConfirmationPrompt::Turn;
using Open = std::vector<OpenConfirmation>;

namespace {

OpenConfirmation removal(std::uint8_t id, const std::string& word) {
    return {{uuid(id), {}, std::chrono::seconds{300}, std::nullopt}, {ConfirmableAction::RemoveWords{{word}}}};
}

std::string question(const std::string& word) {
    return "\nAn AI client asks for your confirmation:\n    Remove the vocabulary rule for \"" + word +
           "\"\nAllow it? y/n: ";
}

const std::string gone = "\nThis request was answered elsewhere, or it has expired.\n";

} // namespace

TEST(ConfirmationPrompt, asks_once_and_accepts_several_ways_to_answer) {
    struct Row {
        const char* line;
        std::optional<Decision> decision;
    };
    const Row rows[] = {
        {"y", Decision::confirmed}, {"YES", Decision::confirmed}, {"  y \r", Decision::confirmed},
        {"n", Decision::denied},    {"No", Decision::denied},     {"", std::nullopt},
        {"yy", std::nullopt},       {"maybe", std::nullopt},      {"\xFF", std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        ConfirmationPrompt prompt;
        const Open open{removal(1, "one")};
        EXPECT_EQ(prompt.poll(open), (Turn{question("one"), true, std::nullopt}));
        EXPECT_EQ(prompt.poll(open), Turn{}) << "asked already";
        const Turn expected = row.decision ? Turn{"", false, Answer{uuid(1), *row.decision}}
                                           : Turn{"Please answer y or n: ", false, std::nullopt};
        EXPECT_EQ(prompt.handleInput(row.line), expected);
    }
}

TEST(ConfirmationPrompt, asks_about_the_next_request_after_the_first_is_answered) {
    ConfirmationPrompt prompt;
    std::ignore = prompt.poll(Open{removal(1, "one"), removal(2, "two")});
    EXPECT_EQ(prompt.handleInput("y").answer, (Answer{uuid(1), Decision::confirmed}));
    EXPECT_EQ(prompt.poll(Open{removal(2, "two")}), (Turn{question("two"), true, std::nullopt}));
    EXPECT_EQ(prompt.handleInput("n").answer, (Answer{uuid(2), Decision::denied}));
    EXPECT_EQ(prompt.poll({}), Turn{});
}

TEST(ConfirmationPrompt, withdraws_a_question_that_was_answered_elsewhere) {
    ConfirmationPrompt prompt;
    std::ignore = prompt.poll(Open{removal(1, "one")});
    EXPECT_EQ(prompt.poll({}), (Turn{gone, false, std::nullopt}));
    EXPECT_EQ(prompt.handleInput("y"), Turn{}) << "there is no question to answer";
}

TEST(ConfirmationPrompt, an_answer_to_the_old_question_does_not_answer_the_next) {
    ConfirmationPrompt prompt;
    std::ignore = prompt.poll(Open{removal(1, "one")});
    const Turn turn = prompt.poll(Open{removal(2, "two")});
    EXPECT_EQ(turn, (Turn{gone + question("two"), true, std::nullopt}));
}

TEST(ConfirmationPrompt, names_the_client_that_asks) {
    OpenConfirmation one = removal(1, "one");
    one.client = "codex-mcp-client";
    ConfirmationPrompt prompt;
    EXPECT_TRUE(
        prompt.poll(Open{one}).text.starts_with("\nThe AI client 'codex-mcp-client' asks for your confirmation:\n"));
}

TEST(ConfirmationPrompt, shows_every_word_to_confirm) {
    OpenConfirmation many = removal(1, "word");
    auto& words = std::get<ConfirmableAction::RemoveWords>(many.action.is).words;
    words.resize(50, "word");
    words.push_back("last");
    ConfirmationPrompt prompt;
    EXPECT_TRUE(prompt.poll(Open{many}).text.ends_with(", \"last\"\nAllow it? y/n: "));
}

TEST(ConfirmationPrompt, control_characters_in_words_are_not_printed) {
    ConfirmationPrompt prompt;
    EXPECT_EQ(prompt.poll(Open{removal(1, hostile + "\n\t")}).text, question(harmless + "  "));
}

} // namespace vostel_companion
