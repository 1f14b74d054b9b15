// Kills real processes while they work and checks what they left.
#include "companion/store/Confirmations.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "tests/companion/models/ModelFixture.h"
#include "tests/support/endForkedProcess.h"

#include <csignal>
#include <functional>
#include <optional>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace vostel_companion {

namespace {

using vostel_tests::endForkedProcess;
using VostelMCPKit::UUID;
using VostelMCPKit::MCPConfirmationLogic::Decision;
using RemoveModel = ConfirmableAction::RemoveModel;
using RemoveWords = ConfirmableAction::RemoveWords;

constexpr int rounds = 25;

/// Work in a child process, which acknowledges each finished step through a pipe.
class Victim final {
public:
    using Acknowledge = std::function<void()>;

    explicit Victim(const std::function<void(const Acknowledge&)>& work) {
        int ends[2];
        if (::pipe(ends) != 0) std::abort();
        process_ = ::fork();
        if (process_ == 0) {
            ::close(ends[0]);
            work([&] {
                const char step = '.';
                if (::write(ends[1], &step, 1) != 1) endForkedProcess(2);
            });
            endForkedProcess(1);
        }
        ::close(ends[1]);
        acknowledgements_ = ends[0];
    }
    Victim(const Victim&) = delete;
    Victim& operator=(const Victim&) = delete;
    ~Victim() { ::close(acknowledgements_); }

    /// Kills it some time after its `count`th acknowledgement and returns how many it had given in all.
    int killAfter(int count, std::chrono::microseconds delay) {
        int received = 0;
        char step = 0;
        while (received < count && ::read(acknowledgements_, &step, 1) == 1) ++received;
        const auto end = std::chrono::steady_clock::now() + delay;
        while (std::chrono::steady_clock::now() < end) {}
        ::kill(process_, SIGKILL);
        int status = 0;
        ::waitpid(process_, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the work was not killed but ended with " << WEXITSTATUS(status);
        while (::read(acknowledgements_, &step, 1) == 1) ++received;
        return received;
    }

private:
    pid_t process_ = -1;
    int acknowledgements_ = -1;
};

/// When to kill: another time in every round, the same times in every run.
struct KillTimes {
    std::mt19937 random{20260830};

    int count() { return std::uniform_int_distribution{1, 6}(random); }
    std::chrono::microseconds delay() {
        return std::chrono::microseconds{std::uniform_int_distribution{0, 3000}(random)};
    }
};

UUID numbered(int number) {
    UUID id;
    id.bytes[14] = static_cast<std::uint8_t>(number >> 8);
    id.bytes[15] = static_cast<std::uint8_t>(number);
    return id;
}

Database openIntact(const std::string& path) {
    auto database = openStore(path);
    if (!database) {
        ADD_FAILURE() << database.error().description();
        return openInMemory();
    }
    const auto sound = checkIntegrity(*database);
    EXPECT_TRUE(sound) << sound.error().description();
    return *std::move(database);
}

std::int64_t readCount(Database& database, const char* sql) {
    Statement select{database, sql};
    const auto found = select.first([](const Statement& row) { return row.integer(0); });
    EXPECT_TRUE(found && *found);
    return found->value_or(-1);
}

/// The program with the real clock and scripted ids.
struct Program {
    Database database;
    const ModelStore& models;
    int lastID = 0;
    Confirmations confirmations{database, models, [] { return std::chrono::system_clock::now(); },
                                [this] { return numbered(++lastID); }};
    Vocabulary vocabulary{database};

    Program(Database opened, const ModelStore& store) : database{std::move(opened)}, models{store} {}
};

} // namespace

TEST(Crash, every_acknowledged_transcript_survives_completely) {
    constexpr std::int64_t segmentCount = 50;
    KillTimes times;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        const StoreFolder folder;
        const std::string path = folder / "store.sqlite";
        Victim victim{[&](const Victim::Acknowledge& acknowledge) {
            auto database = openStore(path);
            if (!database) endForkedProcess(3);
            Transcripts transcripts{*database};
            Transcripts::New talk{at(0), {}, {}, {}, std::string(5000, 'x'), {}};
            talk.segments.assign(segmentCount, {"word", Seconds{0}, Seconds{1}});
            for (int number = 0;; ++number) {
                if (!transcripts.add(numbered(number), talk)) endForkedProcess(4);
                acknowledge();
            }
        }};
        const int acknowledged = victim.killAfter(times.count(), times.delay());

        Database database = openIntact(path);
        Transcripts transcripts{database};
        const auto page = transcripts.list({500, {}, {}});
        ASSERT_TRUE(page);
        EXPECT_GE(page->totalCount, acknowledged);
        EXPECT_LE(page->totalCount, acknowledged + 1);
        for (std::int64_t number = 0; number < page->totalCount; ++number) {
            const auto found = transcripts.find(numbered(static_cast<int>(number)));
            ASSERT_TRUE(found && *found);
            EXPECT_EQ((*found)->text.size(), 5000U);
            EXPECT_EQ((*found)->segments.size(), static_cast<std::size_t>(segmentCount));
        }
        EXPECT_EQ(readCount(database, "SELECT count(*) FROM transcriptSegments"), page->totalCount * segmentCount);
    }
}

TEST(Crash, a_rule_is_removed_exactly_when_its_confirmation_is_stored) {
    const ModelFixture paths;
    KillTimes times;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        const StoreFolder folder;
        const std::string path = folder / "store.sqlite";
        Victim victim{[&](const Victim::Acknowledge& acknowledge) {
            auto database = openStore(path);
            if (!database) endForkedProcess(3);
            Program program{*std::move(database), paths.models};
            for (int number = 1;; ++number) {
                const std::vector<VocabularyRule> rule = {{"word" + std::to_string(number), ""}};
                if (!program.vocabulary.add(rule)) endForkedProcess(4);
                const auto asked = program.confirmations.ask({RemoveWords{{rule.front().word}}});
                if (!asked || !asked->isNew) endForkedProcess(5);
                if (!program.confirmations.answer(numbered(number), Decision::confirmed)) endForkedProcess(6);
                acknowledge();
            }
        }};
        const int acknowledged = victim.killAfter(times.count(), times.delay());

        Program program{openIntact(path), paths.models};
        const auto confirmed =
            readCount(program.database, "SELECT count(*) FROM confirmations WHERE decision IS NOT NULL "
                                        "AND isPerformed");
        EXPECT_GE(confirmed, acknowledged);
        EXPECT_EQ(readCount(program.database, "SELECT count(*) FROM confirmations WHERE decision IS NOT NULL AND NOT "
                                              "isPerformed"),
                  0);
        EXPECT_EQ(readCount(program.database, "SELECT count(*) FROM confirmationItems JOIN vocabulary ON item = word "
                                              "JOIN confirmations ON confirmation = id WHERE isPerformed"),
                  0);
        for (int number = 1; number <= confirmed; ++number) {
            const std::string word = "word" + std::to_string(number);
            const auto report = program.confirmations.ask({RemoveWords{{word}}});
            ASSERT_TRUE(report);
            EXPECT_EQ(report->removed, std::vector{word});
        }
    }
}

TEST(Crash, a_model_is_complete_or_absent_and_every_confirmed_removal_is_finished) {
    KillTimes times;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        const ModelFixture paths;
        const std::string path = paths.folder / "store.sqlite";
        const ConfirmableAction removal{RemoveModel{"de"}};
        Victim victim{[&](const Victim::Acknowledge& acknowledge) {
            auto database = openStore(path);
            if (!database) endForkedProcess(3);
            Program program{*std::move(database), paths.models};
            for (int number = 1;; ++number) {
                if (!paths.models.install("de", {})) endForkedProcess(4);
                acknowledge();
                if (!program.confirmations.ask(removal)) endForkedProcess(5);
                if (!program.confirmations.answer(numbered(number), Decision::confirmed)) endForkedProcess(6);
                acknowledge();
                const auto report = program.confirmations.ask(removal);
                if (!report || report->removed.size() != 1) endForkedProcess(7);
            }
        }};
        const int acknowledged = victim.killAfter(times.count(), times.delay());

        Program program{openIntact(path), paths.models};
        program.lastID = 1000;
        ASSERT_TRUE(program.confirmations.recover());
        std::set<std::string> contents = paths.contents();
        contents.erase(".removed");
        const bool isInstalled = paths.models.installedFolder("de").has_value();
        EXPECT_EQ(contents, isInstalled ? ModelFixture::whole : std::set<std::string>{".staging"});

        const auto report = program.confirmations.ask(removal);
        ASSERT_TRUE(report);
        using VostelMCPKit::MCPConfirmationLogic::Status;
        if (report->status == Status::confirmed) {
            EXPECT_EQ(report->removed, std::vector<std::string>{"de"});
            EXPECT_FALSE(isInstalled);
        } else if (!report->isNew) {
            EXPECT_EQ(report->status, Status::pending);
            EXPECT_TRUE(isInstalled);
        } else if (acknowledged % 2 == 1) {
            // Installed, and not yet asked for.
            EXPECT_TRUE(isInstalled);
        }
    }
}

TEST(Crash, an_interrupted_installation_leaves_nothing_and_can_be_repeated) {
    KillTimes times;
    for (int round = 0; round < rounds; ++round) {
        SCOPED_TRACE(round);
        const ModelFixture paths;
        Victim victim{[&](const Victim::Acknowledge& acknowledge) {
            std::ignore = paths.models.install("de", {[&](double) { acknowledge(); }, {}});
            for (;;) ::pause();
        }};
        victim.killAfter(1 + round % 2, times.delay() / 6);

        ASSERT_TRUE(paths.models.deleteLeftovers());
        const bool isInstalled = paths.models.installedFolder("de").has_value();
        EXPECT_EQ(paths.contents(), isInstalled ? ModelFixture::whole : std::set<std::string>{".staging"});
        EXPECT_TRUE(paths.models.install("de", {}));
        EXPECT_EQ(paths.contents(), ModelFixture::whole);
    }
}

} // namespace vostel_companion
