#include "companion/store/Confirmations.h"
#include "companion/store/Vocabulary.h"
#include "tests/companion/models/ModelFixture.h"
#include "tests/support/Table.h"
#include "tests/support/endForkedProcess.h"

#include <sys/wait.h>
#include <unistd.h>

namespace vostel_companion {

namespace {

using vostel_tests::endForkedProcess;
using namespace std::chrono_literals;
using VostelMCPKit::UUID;
using VostelMCPKit::MCPConfirmationLogic::Decision;
using VostelMCPKit::MCPConfirmationLogic::Status;
using RemoveModel = ConfirmableAction::RemoveModel;
using RemoveWords = ConfirmableAction::RemoveWords;
using Words = std::vector<std::string>;

const ConfirmableAction removeGerman{RemoveModel{"de"}};

struct Fixture {
    ModelFixture paths;
    Database database = openInMemory();
    std::chrono::system_clock::time_point now{std::chrono::sys_days{std::chrono::year{2026} / 8 / 30}};
    /// The clock that nobody can set.
    std::chrono::steady_clock::time_point steady{1h};
    std::uint8_t lastID = 0;
    Confirmations confirmations{database, paths.models, [this] { return now; }, [this] { return uuid(++lastID); },
                                [this] { return steady; }};
    Vocabulary vocabulary{database};

    Fixture() {
        const std::vector<VocabularyRule> rules = {{"GitHub", ""}, {"Vostel", ""}, {"kept", ""}};
        EXPECT_TRUE(vocabulary.add(rules));
    }

    void wait(std::chrono::milliseconds time) {
        now += time;
        steady += time;
    }

    ConfirmationReport ask(const ConfirmableAction& action, const std::string& client = "") {
        auto report = confirmations.ask(action, client);
        if (!report) {
            ADD_FAILURE() << report.error().description();
            return {};
        }
        return *std::move(report);
    }
    ConfirmationReport askWords(Words words) { return ask({RemoveWords{std::move(words)}}); }

    Words wordsLeft() {
        Words words;
        for (const VocabularyRule& rule : vocabulary.list().value_or(std::vector<VocabularyRule>{})) {
            words.push_back(rule.word);
        }
        return words;
    }

    /// The state after a crash right after the confirmation was stored.
    void storeConfirmationOnly(const UUID& id) {
        Statement update{database, "UPDATE confirmations SET decision = 'confirmed' WHERE id = ?"};
        ASSERT_TRUE(update.bind(id.text()).run());
    }

    void install() { ASSERT_TRUE(paths.models.install("de", {})); }
    [[nodiscard]] bool isInstalled() const { return paths.models.installedFolder("de").has_value(); }
    [[nodiscard]] std::size_t takenCount() const {
        std::size_t count = 0;
        for (const std::string& name : paths.contents()) {
            if (name.starts_with(".removed/") && name.find('/', 9) == std::string::npos) ++count;
        }
        return count;
    }
};

std::chrono::system_clock::time_point epoch() { return {}; }

constexpr int contestedWords = 30;

std::string contestedWord(int number) { return "word" + std::to_string(number); }

/// Runs `work` in several processes at once, each with the store at `path`. Returns the sum of the successes that
/// `work` returned. `work` returns nothing if anything else went wrong.
int countOfSuccesses(const std::string& path, const ModelStore& models,
                     const std::function<std::optional<int>(Confirmations&)>& work) {
    int barrier[2];
    EXPECT_EQ(::pipe(barrier), 0);
    std::vector<pid_t> children;
    for (std::uint8_t process = 1; process <= 4; ++process) {
        children.push_back(::fork());
        if (children.back() != 0) continue;
        ::close(barrier[1]);
        auto database = openStore(path);
        if (!database) endForkedProcess(255);
        std::uint8_t request = 0;
        Confirmations confirmations{*database, models, epoch, [&] {
                                        UUID id = uuid(++request);
                                        id.bytes.front() = process;
                                        return id;
                                    }};
        char nothing = 0;
        if (::read(barrier[0], &nothing, 1) != 0) endForkedProcess(255);
        endForkedProcess(work(confirmations).value_or(255));
    }
    ::close(barrier[0]);
    ::close(barrier[1]);
    int successes = 0;
    for (const pid_t child : children) {
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_NE(WEXITSTATUS(status), 255);
        successes += WEXITSTATUS(status);
    }
    return successes;
}

} // namespace

TEST(Confirmations, the_first_call_makes_a_request_and_does_nothing) {
    Fixture fixture;
    const ConfirmationReport report = fixture.askWords({" github ", "Unknown"});
    EXPECT_EQ(report.status, Status::pending);
    EXPECT_TRUE(report.isNew);
    EXPECT_EQ(report.confirmation.request,
              (VostelMCPKit::MCPConfirmationLogic::Request{uuid(1), fixture.now, 300s, std::nullopt}));
    EXPECT_EQ(report.confirmation.action, ConfirmableAction{(RemoveWords{{"github", "Unknown"}})});
    EXPECT_EQ(fixture.wordsLeft(), (Words{"GitHub", "kept", "Vostel"}));
}

TEST(Confirmations, a_repeated_call_finds_the_same_request) {
    struct Row {
        const char* when;
        Words words;
    };
    const Row rows[] = {
        {"the same words", {"github", "vostel"}},      {"another order", {"vostel", "github"}},
        {"another letter case", {"GITHUB", "Vostel"}}, {"words repeated", {"github", "vostel", "Github", "vostel"}},
        {"white space", {" github", "vostel\n"}},      {"words without text", {"github", "", "vostel", "?!"}},
    };
    Fixture fixture;
    const UUID id = fixture.askWords({"github", "vostel"}).confirmation.request.id;
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        const ConfirmationReport report = fixture.askWords(row.words);
        EXPECT_EQ(report.status, Status::pending);
        EXPECT_FALSE(report.isNew);
        EXPECT_EQ(report.confirmation.request.id, id);
    });
}

TEST(Confirmations, another_set_of_words_is_another_request) {
    Fixture fixture;
    fixture.install();
    const std::vector<ConfirmableAction> actions = {
        {RemoveWords{{"a", "b"}}}, {RemoveWords{{"a"}}},    {RemoveWords{{"b"}}},  {RemoveWords{{"ab"}}},
        {RemoveWords{{"a b"}}},    {RemoveWords{{"a1:b"}}}, {RemoveWords{{"de"}}}, {RemoveModel{"de"}},
    };
    std::set<std::string> ids;
    for (const ConfirmableAction& action : actions) ids.insert(fixture.ask(action).confirmation.request.id.text());
    EXPECT_EQ(ids.size(), actions.size());
}

TEST(Confirmations, a_confirmed_action_is_performed_once_and_every_client_that_asks_gets_its_outcome) {
    Fixture fixture;
    const UUID id = fixture.askWords({"VOSTEL", "unknown", "github"}).confirmation.request.id;
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed), (Words{"Vostel", "GitHub"}));
    EXPECT_EQ(fixture.wordsLeft(), Words{"kept"});

    for (const char* client : {"one", "another", "one"}) {
        const ConfirmationReport report = fixture.ask({RemoveWords{{"github", "vostel", "unknown"}}}, client);
        EXPECT_EQ(report.status, Status::confirmed);
        EXPECT_FALSE(report.isNew);
        EXPECT_EQ(report.confirmation.request.id, id);
        EXPECT_EQ(report.removed, (Words{"Vostel", "GitHub"}));
        fixture.wait(99s);
    }
}

TEST(Confirmations, a_denied_action_is_not_performed_and_every_client_that_asks_is_told) {
    Fixture fixture;
    const UUID id = fixture.askWords({"github"}).confirmation.request.id;
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::denied), Words{});
    EXPECT_EQ(fixture.wordsLeft(), (Words{"GitHub", "kept", "Vostel"}));
    for (const char* client : {"one", "another"}) {
        const ConfirmationReport report = fixture.ask({RemoveWords{{"github"}}}, client);
        EXPECT_EQ(report.status, Status::denied);
        EXPECT_EQ(report.removed, Words{});
    }
}

TEST(Confirmations, an_outcome_is_repeated_for_five_minutes) {
    struct Row {
        const char* when;
        std::chrono::milliseconds firstTold;
        std::chrono::milliseconds lastTold;
    };
    const Row rows[] = {
        {"it is told at once", 0s, 300s - 1ms},
        {"it is first told late", 250s, 550s - 1ms},
        {"it is first told after the time of the request", 10h, 10h + 300s - 1ms},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Fixture fixture;
        const UUID id = fixture.askWords({"github"}).confirmation.request.id;
        ASSERT_TRUE(fixture.confirmations.answer(id, Decision::denied));
        fixture.wait(row.firstTold);
        EXPECT_EQ(fixture.askWords({"github"}).status, Status::denied);
        fixture.wait(row.lastTold - row.firstTold);
        EXPECT_EQ(fixture.askWords({"github"}).status, Status::denied);
        fixture.wait(1ms);
        EXPECT_TRUE(fixture.askWords({"github"}).isNew);
    });
}

TEST(Confirmations, an_outcome_is_forgotten_when_what_was_removed_exists_again) {
    Fixture fixture;
    fixture.install();
    const UUID words = fixture.askWords({"github", "unknown"}).confirmation.request.id;
    const UUID model = fixture.ask(removeGerman).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(words, Decision::confirmed));
    ASSERT_TRUE(fixture.confirmations.answer(model, Decision::confirmed));
    EXPECT_EQ(fixture.askWords({"github", "unknown"}).status, Status::confirmed);
    EXPECT_EQ(fixture.ask(removeGerman).status, Status::confirmed);

    ASSERT_TRUE(fixture.vocabulary.add(std::vector<VocabularyRule>{{"UNKNOWN", ""}}));
    fixture.install();
    EXPECT_TRUE(fixture.askWords({"github", "unknown"}).isNew);
    EXPECT_TRUE(fixture.ask(removeGerman).isNew);
}

TEST(Confirmations, a_request_names_the_client_that_asked_first) {
    Fixture fixture;
    EXPECT_EQ(fixture.ask({RemoveWords{{"github"}}}, "codex").confirmation.client, "codex");
    EXPECT_EQ(fixture.ask({RemoveWords{{"github"}}}, "another").confirmation.client, "codex");
    EXPECT_EQ(fixture.confirmations.open()->front().client, "codex");
    const std::string name = fixture.ask({RemoveWords{{"vostel"}}}, "a\nb" + std::string(100, 'x')).confirmation.client;
    EXPECT_EQ(name, "a b" + std::string(57, 'x'));
}

TEST(Confirmations, every_request_expires_after_five_minutes_even_if_the_clock_is_changed) {
    struct Row {
        const char* when;
        std::chrono::milliseconds clockMoves;
        std::chrono::milliseconds timePasses;
        Status status;
    };
    const Row rows[] = {
        {"the clock is not changed", 299s, 299s, Status::pending},
        {"the clock was set back by an hour", -1h + 299s, 299s, Status::pending},
        {"the clock was set back by an hour and the time is over", -1h + 300s, 300s, Status::expired},
        {"the clock was set back by a minute", 240s, 300s, Status::expired},
        {"the clock was set forward", 1h, 1s, Status::expired},
        {"the machine slept, and only one clock continued", 300s, 1s, Status::expired},
        {"the machine was restarted", 10s, -30min, Status::expired},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        Fixture fixture;
        const UUID id = fixture.askWords({"github"}).confirmation.request.id;
        fixture.now += row.clockMoves;
        fixture.steady += row.timePasses;
        EXPECT_EQ(fixture.confirmations.open()->size(), row.status == Status::pending ? 1U : 0U);
        if (row.status == Status::expired) {
            EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed),
                      std::unexpected(ConfirmationError{ConfirmationError::Expired{}}));
        }
        EXPECT_EQ(fixture.askWords({"github"}).status, row.status);
    });
}

TEST(Confirmations, a_request_expires_at_its_deadline_and_this_is_reported_once) {
    Fixture fixture;
    const UUID id = fixture.askWords({"github"}).confirmation.request.id;
    fixture.wait(299'999ms);
    EXPECT_EQ(fixture.askWords({"github"}).status, Status::pending);
    fixture.wait(1ms);
    EXPECT_EQ(fixture.askWords({"github"}).status, Status::expired);
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed),
              std::unexpected(ConfirmationError{ConfirmationError::NotFound{}}));
    EXPECT_TRUE(fixture.askWords({"github"}).isNew);
    EXPECT_EQ(fixture.wordsLeft(), (Words{"GitHub", "kept", "Vostel"}));
}

TEST(Confirmations, an_answer_that_comes_too_late_does_nothing) {
    for (const Decision decision : {Decision::confirmed, Decision::denied}) {
        Fixture fixture;
        const UUID id = fixture.askWords({"github"}).confirmation.request.id;
        fixture.wait(300s);
        EXPECT_EQ(fixture.confirmations.answer(id, decision),
                  std::unexpected(ConfirmationError{ConfirmationError::Expired{}}));
        EXPECT_EQ(fixture.askWords({"github"}).status, Status::expired);
        EXPECT_EQ(fixture.wordsLeft(), (Words{"GitHub", "kept", "Vostel"}));
    }
}

TEST(Confirmations, an_answer_in_time_is_reported_even_if_the_client_asks_late) {
    Fixture fixture;
    const UUID id = fixture.askWords({"github"}).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(id, Decision::confirmed));
    fixture.wait(23h);
    EXPECT_EQ(fixture.askWords({"github"}).status, Status::confirmed);
}

TEST(Confirmations, an_outcome_that_nobody_asked_for_is_forgotten_after_a_day) {
    Fixture fixture;
    const UUID confirmed = fixture.askWords({"github"}).confirmation.request.id;
    std::ignore = fixture.askWords({"vostel"});
    ASSERT_TRUE(fixture.confirmations.answer(confirmed, Decision::confirmed));
    fixture.wait(24h);
    EXPECT_TRUE(fixture.askWords({"github"}).isNew);
    EXPECT_TRUE(fixture.askWords({"vostel"}).isNew);
}

TEST(Confirmations, the_first_answer_counts) {
    Fixture fixture;
    const UUID id = fixture.askWords({"github"}).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(id, Decision::denied));
    const auto second = fixture.confirmations.answer(id, Decision::confirmed);
    EXPECT_EQ(second, std::unexpected(ConfirmationError{ConfirmationError::AlreadyAnswered{}}));
    EXPECT_EQ(second.error().description(), "This request has been answered already.");
    EXPECT_EQ(fixture.askWords({"github"}).status, Status::denied);
}

TEST(Confirmations, a_rule_added_again_after_its_removal_stays) {
    Fixture fixture;
    const UUID id = fixture.askWords({"github"}).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(id, Decision::confirmed));
    ASSERT_TRUE(fixture.vocabulary.add(std::vector<VocabularyRule>{{"GitHub", ""}}));
    EXPECT_FALSE(fixture.confirmations.answer(id, Decision::confirmed));
    EXPECT_EQ(fixture.askWords({"github"}).removed, Words{"GitHub"});
    EXPECT_TRUE(fixture.confirmations.recover());
    EXPECT_EQ(fixture.wordsLeft(), (Words{"GitHub", "kept", "Vostel"}));
}

TEST(Confirmations, an_unknown_id_is_reported) {
    Fixture fixture;
    const auto answered = fixture.confirmations.answer(uuid(99), Decision::confirmed);
    ASSERT_FALSE(answered);
    EXPECT_EQ(answered.error().description(), "No request with this id is waiting for an answer.");
}

TEST(Confirmations, words_without_text_make_no_request) {
    Fixture fixture;
    for (const Words& words : {Words{}, Words{""}, Words{" ", "?!"}}) {
        const auto report = fixture.confirmations.ask({RemoveWords{words}});
        ASSERT_FALSE(report);
        EXPECT_EQ(report.error().description(), "None of the words has usable text, so there is nothing to remove.");
    }
}

TEST(Confirmations, open_requests_are_listed_oldest_first) {
    Fixture fixture;
    fixture.install();
    const UUID late = fixture.askWords({"late"}).confirmation.request.id;
    fixture.wait(200s);
    const UUID first = fixture.askWords({"first"}).confirmation.request.id;
    const UUID denied = fixture.askWords({"denied"}).confirmation.request.id;
    fixture.wait(50s);
    const UUID second = fixture.ask(removeGerman).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(denied, Decision::denied));

    const auto ids = [&] {
        std::vector<UUID> found;
        const auto open = fixture.confirmations.open();
        EXPECT_TRUE(open);
        for (const OpenConfirmation& confirmation : *open) found.push_back(confirmation.request.id);
        return found;
    };
    EXPECT_EQ(ids(), (std::vector{late, first, second}));
    fixture.wait(50s);
    EXPECT_EQ(ids(), (std::vector{first, second}));
    EXPECT_EQ(fixture.confirmations.open()->back().action, removeGerman);
}

TEST(Confirmations, the_description_names_every_word_and_the_summary_the_first_ones) {
    Words many;
    for (int number = 1; number <= 12; ++number) many.push_back(std::to_string(number));
    struct Row {
        const char* when;
        ConfirmableAction action;
        const char* summary;
        const char* description = summary;
    };
    const Row rows[] = {
        {"one word", {RemoveWords{{"GitHub"}}}, "Remove the vocabulary rule for \"GitHub\""},
        {"two words", {RemoveWords{{"a", "b c"}}}, "Remove the vocabulary rules for 2 words: \"a\", \"b c\""},
        {"a word with quotes",
         {RemoveWords{{R"(b" and "everything)"}}},
         R"(Remove the vocabulary rule for "b\" and \"everything")"},
        {"a word with escaped quotes",
         {RemoveWords{{R"(b\" and \"c)", "d"}}},
         R"(Remove the vocabulary rules for 2 words: "b\\\" and \\\"c", "d")"},
        {"many words",
         {RemoveWords{many}},
         "Remove the vocabulary rules for 12 words: \"1\", \"2\", \"3\", \"4\", \"5\", \"6\", \"7\", \"8\", \"9\", "
         "\"10\" and 2 "
         "more",
         "Remove the vocabulary rules for 12 words: \"1\", \"2\", \"3\", \"4\", \"5\", \"6\", \"7\", \"8\", \"9\", "
         "\"10\", "
         "\"11\", \"12\""},
        {"a model", removeGerman, "Remove the speech recognition model \"de\" from disk"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(row.action.summary(), row.summary);
        EXPECT_EQ(row.action.description(), row.description);
    });
}

TEST(Confirmations, confirmed_models_are_removed_from_disk) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    EXPECT_TRUE(fixture.isInstalled());
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed), Words{"de"});
    EXPECT_FALSE(fixture.isInstalled());
    EXPECT_EQ(fixture.takenCount(), 0U);
    const ConfirmationReport report = fixture.ask(removeGerman);
    EXPECT_EQ(report.status, Status::confirmed);
    EXPECT_EQ(report.removed, Words{"de"});
}

TEST(Confirmations, if_the_model_is_not_installed_a_confirmation_removes_nothing) {
    Fixture fixture;
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed), Words{});
    const ConfirmationReport report = fixture.ask(removeGerman);
    EXPECT_EQ(report.status, Status::confirmed);
    EXPECT_EQ(report.removed, Words{});
}

TEST(Confirmations, the_outcome_is_reported_even_if_the_model_is_no_longer_in_the_catalogue) {
    Fixture fixture;
    fixture.install();
    std::filesystem::remove(fixture.paths.folder / "models.json");
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    ASSERT_TRUE(fixture.confirmations.answer(id, Decision::confirmed));
    EXPECT_EQ(fixture.ask(removeGerman).removed, Words{"de"});
}

TEST(Confirmations, models_that_cannot_be_removed_make_no_request) {
    Fixture fixture;
    const auto systems = fixture.confirmations.ask({RemoveModel{"en-us"}});
    ASSERT_FALSE(systems);
    EXPECT_EQ(systems.error().description(), "The model en-us belongs to the system and cannot be removed by Vostel.");
    const auto unknown = fixture.confirmations.ask({RemoveModel{"../german"}});
    ASSERT_FALSE(unknown);
    EXPECT_EQ(unknown.error().description(), "Vostel knows no speech recognition model with this identifier.");
    EXPECT_TRUE(fixture.confirmations.open()->empty());
}

TEST(Confirmations, after_a_crash_before_the_model_was_moved_the_next_process_finishes_the_removal) {
    for (const bool isAtStart : {true, false}) {
        SCOPED_TRACE(isAtStart ? "the next start" : "the client's next call");
        Fixture fixture;
        fixture.install();
        const UUID id = fixture.ask(removeGerman).confirmation.request.id;
        ASSERT_NO_FATAL_FAILURE(fixture.storeConfirmationOnly(id));

        if (isAtStart) {
            ASSERT_TRUE(fixture.confirmations.recover());
            EXPECT_FALSE(fixture.isInstalled());
        }
        const ConfirmationReport report = fixture.ask(removeGerman);
        EXPECT_EQ(report.status, Status::confirmed);
        EXPECT_EQ(report.removed, Words{"de"});
        EXPECT_FALSE(fixture.isInstalled());
        EXPECT_EQ(fixture.takenCount(), 0U);
    }
}

TEST(Confirmations, after_a_crash_after_the_model_was_moved_a_newly_installed_one_stays) {
    for (const bool isAtStart : {true, false}) {
        SCOPED_TRACE(isAtStart ? "the next start" : "the client's next call");
        Fixture fixture;
        fixture.install();
        const UUID id = fixture.ask(removeGerman).confirmation.request.id;
        ASSERT_NO_FATAL_FAILURE(fixture.storeConfirmationOnly(id));
        ASSERT_EQ(fixture.paths.models.takeAway("de", id), true);
        fixture.install();

        if (isAtStart) {
            ASSERT_TRUE(fixture.confirmations.recover());
        }
        const ConfirmationReport report = fixture.ask(removeGerman);
        EXPECT_EQ(report.status, Status::confirmed);
        EXPECT_EQ(report.removed, Words{"de"});
        EXPECT_TRUE(fixture.isInstalled());
        EXPECT_EQ(fixture.takenCount(), 0U);
    }
}

TEST(Confirmations, after_a_crash_the_moved_model_is_deleted) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    ASSERT_EQ(fixture.paths.models.takeAway("de", id), true);
    ASSERT_NO_FATAL_FAILURE(fixture.storeConfirmationOnly(id));
    ASSERT_TRUE(fixture.database.execute("UPDATE confirmations SET isPerformed = 1"));
    EXPECT_EQ(fixture.takenCount(), 1U);
    ASSERT_TRUE(fixture.confirmations.recover());
    EXPECT_EQ(fixture.takenCount(), 0U);
}

TEST(Confirmations, a_removal_that_another_process_is_about_to_perform_is_still_pending) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    std::ignore = fixture.askWords({"old"});
    // The answer arrives during the next call, right after that call has looked for removals to finish.
    ASSERT_TRUE(fixture.database.execute("UPDATE confirmations SET createdAt = 0 WHERE tool = 'vocabulary_remove';"
                                         "CREATE TEMP TRIGGER answer AFTER DELETE ON main.confirmations BEGIN "
                                         "UPDATE confirmations SET decision = 'confirmed'; END"));
    const ConfirmationReport report = fixture.ask(removeGerman);
    EXPECT_EQ(report.status, Status::pending);
    EXPECT_EQ(report.confirmation.request.id, id);
    EXPECT_EQ(report.confirmation.request.decision, Decision::confirmed);
}

TEST(Confirmations, a_confirmed_removal_that_was_not_performed_is_not_forgotten) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    ASSERT_NO_FATAL_FAILURE(fixture.storeConfirmationOnly(id));
    fixture.wait(48h);
    std::ignore = fixture.askWords({"another"});
    ASSERT_TRUE(fixture.confirmations.recover());
    EXPECT_FALSE(fixture.isInstalled());
}

TEST(Confirmations, a_removal_that_another_process_performed_and_reported_counts_as_confirmed) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    // The client's next call ends the request right after the confirmation is stored.
    ASSERT_TRUE(fixture.database.execute("CREATE TEMP TRIGGER report AFTER UPDATE ON main.confirmations BEGIN "
                                         "DELETE FROM confirmations; END"));
    EXPECT_EQ(fixture.confirmations.answer(id, Decision::confirmed), Words{"de"});
}

TEST(Confirmations, a_removal_that_fails_is_tried_again) {
    Fixture fixture;
    fixture.install();
    const UUID id = fixture.ask(removeGerman).confirmation.request.id;
    const auto obstacle = fixture.paths.folder / "models/.removed";
    writeFile(obstacle, "a file where the folder should be");
    EXPECT_FALSE(fixture.confirmations.answer(id, Decision::confirmed));
    EXPECT_FALSE(fixture.confirmations.ask(removeGerman));
    EXPECT_TRUE(fixture.isInstalled());

    std::filesystem::remove(obstacle);
    const ConfirmationReport report = fixture.ask(removeGerman);
    EXPECT_EQ(report.status, Status::confirmed);
    EXPECT_EQ(report.removed, Words{"de"});
    EXPECT_FALSE(fixture.isInstalled());
}

TEST(Confirmations, another_process_may_answer) {
    const StoreFolder folder;
    const ModelFixture paths;
    auto server = openStore(folder / "store.sqlite");
    auto command = openStore(folder / "store.sqlite");
    ASSERT_TRUE(server && command);
    Confirmations asked{*server, paths.models, epoch, [] { return uuid(1); }};
    Confirmations answered{*command, paths.models, epoch, [] { return uuid(2); }};
    Vocabulary vocabulary{*server};
    ASSERT_TRUE(vocabulary.add(std::vector<VocabularyRule>{{"GitHub", ""}}));
    const ConfirmableAction action{RemoveWords{{"github"}}};
    ASSERT_TRUE(asked.ask(action));
    ASSERT_EQ(answered.open()->size(), 1U);
    ASSERT_TRUE(answered.answer(uuid(1), Decision::confirmed));
    const auto report = asked.ask(action);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->status, Status::confirmed);
    EXPECT_EQ(vocabulary.list(), std::vector<VocabularyRule>{});
}

TEST(Confirmations, processes_that_ask_at_once_make_one_request) {
    const ModelFixture paths;
    const std::string path = paths.folder / "store.sqlite";
    ASSERT_TRUE(openStore(path));
    const auto ask = [](Confirmations& confirmations) -> std::optional<int> {
        int made = 0;
        for (int number = 0; number < contestedWords; ++number) {
            const auto report = confirmations.ask({RemoveWords{{contestedWord(number)}}});
            if (!report) return std::nullopt;
            if (report->isNew) ++made;
        }
        return made;
    };
    EXPECT_EQ(countOfSuccesses(path, paths.models, ask), contestedWords);
}

TEST(Confirmations, of_several_answers_at_once_one_counts_and_the_action_is_performed_once) {
    const ModelFixture paths;
    const std::string path = paths.folder / "store.sqlite";
    std::vector<UUID> requests;
    {
        auto database = openStore(path);
        ASSERT_TRUE(database);
        Vocabulary vocabulary{*database};
        Confirmations confirmations{*database, paths.models, epoch,
                                    [&] { return uuid(static_cast<std::uint8_t>(requests.size())); }};
        for (int number = 0; number < contestedWords; ++number) {
            ASSERT_TRUE(vocabulary.add(std::vector<VocabularyRule>{{contestedWord(number), ""}}));
            const auto report = confirmations.ask({RemoveWords{{contestedWord(number)}}});
            ASSERT_TRUE(report);
            requests.push_back(report->confirmation.request.id);
        }
    }
    const auto answer = [&](Confirmations& confirmations) -> std::optional<int> {
        int performed = 0;
        for (const UUID& id : requests) {
            const auto removed = confirmations.answer(id, Decision::confirmed);
            const bool isRefused =
                !removed && removed.error() == ConfirmationError{ConfirmationError::AlreadyAnswered{}};
            if (!isRefused && (!removed || removed->size() != 1)) return std::nullopt;
            if (removed) ++performed;
        }
        return performed;
    };
    EXPECT_EQ(countOfSuccesses(path, paths.models, answer), contestedWords);
}

} // namespace vostel_companion
